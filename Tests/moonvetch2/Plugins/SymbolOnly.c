/* Properties as an object that is exported, in no section of their own. */
#include "Answer.h"

struct Records
{
    PIPropertyList list;
    PIProperty nameProperty;
    char name[12];
    PIProperty entryProperty;
    unsigned char entry[4];
};

extern MV_API const struct Records MVPluginProperties;
const struct Records MVPluginProperties = {{1, 2},
                                           {kMVVendorID, kMVProperty_Name, 0, 12},
                                           "Symbol Only",
                                           {kMVVendorID, kMVProperty_CodeEntry, 0, 1},
                                           {0, 0, 0, 0}};

MV_ENTRY(PluginMain)(const char* caller, const char* selector, void* message)
{
    (void)selector, (void)message;
    return Answer(caller, 79);
}
