/* The same answer to every question of a test, and 0 to what the host says: another answer to "Reload" would keep a
   plug-in from being loaded. */
#ifndef ANSWER_H
#define ANSWER_H

#include <RiverKit/MoonVetch/MoonVetch.h>

#include <string.h>

static MVResult Answer(const char* caller, MVResult answer)
{
    return strcmp(caller, "Test") == 0 ? answer : kMVNoError;
}

#endif
