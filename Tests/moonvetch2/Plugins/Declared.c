/* Every kind of property. */
#include "Answer.h"

MV_PLUGIN_PROPERTIES(MV_PLUGIN_NAME("Declared"), MV_PLUGIN_ENTRY("DeclaredMain"),
                     MV_PLUGIN_CAPABILITIES(kMVCapability_SkipShutdown),
                     MV_PLUGIN_EXPORTS(MV_EXPORT("Declared One", 1), MV_EXPORT("Two", 2)),
                     MV_PROPERTY_TEXT(0x54455354, 0x74657874, 3, "a text"),
                     MV_PROPERTY_NUMBER(0x54455354, 0x6E756D62, 4, -5));

/* Neither static nor marked: what the build leaves inside. */
MVResult DeclaredHelper(void);
MVResult DeclaredHelper(void)
{
    return 77;
}

MV_ENTRY(DeclaredMain)(const char* caller, const char* selector, void* message)
{
    (void)selector, (void)message;
    return Answer(caller, DeclaredHelper());
}
