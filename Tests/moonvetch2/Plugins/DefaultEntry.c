/* No name for the entry, and only the last of those that are tried. */
#include "Answer.h"

MV_PLUGIN_PROPERTIES(MV_PLUGIN_NAME("Default Entry"), MV_PLUGIN_ENTRY(""));

MV_API MVResult Entry(const char* caller, const char* selector, void* message) __asm__("main");
MVResult Entry(const char* caller, const char* selector, void* message)
{
    (void)selector, (void)message;
    return Answer(caller, 80);
}
