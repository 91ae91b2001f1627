#pragma once

// RK_API marks what libRiverKit exports; everything else is hidden. On a class it also exports the
// type information, without which an exception could not be caught by type in a client.
#if defined(__GNUC__)
#define RK_API __attribute__((visibility("default")))
#else
#define RK_API
#endif
