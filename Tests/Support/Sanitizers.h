#pragma once

// Which sanitizer the tests are built with, for the few that need what it takes away. Macros, since one
// of them decides whether a function of the system is replaced.
#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define RK_TEST_ADDRESS_SANITIZER 1
#endif
#if __has_feature(thread_sanitizer)
#define RK_TEST_THREAD_SANITIZER 1
#endif
#endif
#if defined(__SANITIZE_ADDRESS__)
#define RK_TEST_ADDRESS_SANITIZER 1
#endif
#if defined(__SANITIZE_THREAD__)
#define RK_TEST_THREAD_SANITIZER 1
#endif
#ifndef RK_TEST_ADDRESS_SANITIZER
#define RK_TEST_ADDRESS_SANITIZER 0
#endif
#ifndef RK_TEST_THREAD_SANITIZER
#define RK_TEST_THREAD_SANITIZER 0
#endif
#define RK_TEST_SANITIZER (RK_TEST_ADDRESS_SANITIZER || RK_TEST_THREAD_SANITIZER)
