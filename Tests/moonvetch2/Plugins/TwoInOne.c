/* The code of two plug-ins; the test writes their property lists. */
#include "Answer.h"

MV_PLUGIN_PROPERTIES(MV_PLUGIN_NAME("First"), MV_PLUGIN_ENTRY("FirstMain"));

MV_ENTRY(FirstMain)(const char* caller, const char* selector, void* message)
{
    (void)selector, (void)message;
    return Answer(caller, 81);
}

MV_ENTRY(SecondMain)(const char* caller, const char* selector, void* message)
{
    (void)selector, (void)message;
    return Answer(caller, 82);
}
