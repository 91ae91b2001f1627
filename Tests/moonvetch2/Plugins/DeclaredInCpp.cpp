// The same macros in C++.
#include "Answer.h"

MV_PLUGIN_PROPERTIES(MV_PLUGIN_NAME("Declared in C++"), MV_PLUGIN_ENTRY("CppMain"));

MV_ENTRY(CppMain)(const char* caller, const char* selector, void* message)
{
    (void)selector, (void)message;
    return Answer(caller, 78);
}
