/* A list that says of more properties than it has, and of a length beyond its end. */
#include <RiverKit/MoonVetch/MoonVetch.h>

struct Records
{
    PIPropertyList list;
    PIProperty name;
};

extern MV_API const struct Records MVPluginProperties;
const struct Records MVPluginProperties = {{1, 4000000},
                                           {kMVVendorID, kMVProperty_Name, 0, 0xFFFFFFF0u}};
