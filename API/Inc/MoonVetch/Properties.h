/*
 * What a plug-in declares about itself, put into its file by macros. The host reads it without running any code:
 *
 *     MV_PLUGIN_PROPERTIES(MV_PLUGIN_NAME("Blur"),
 *                          MV_PLUGIN_ENTRY("BlurMain"),
 *                          MV_PLUGIN_EXPORTS(MV_EXPORT("Blur Suite", 1)));
 *
 * Once in a plug-in, outside of functions, with up to 12 properties. Records, lengths and padding are made from it,
 * in section "mv_properties" and under the exported name MVPluginProperties. Texts must be literals.
 */
#ifndef MOONVETCH_PROPERTIES_H
#define MOONVETCH_PROPERTIES_H

#include "Types.h"

/* The plug-in's name. */
#define MV_PLUGIN_NAME(name) MV_PROPERTY_TEXT(kMVVendorID, kMVProperty_Name, 0, name)

/* Says that there is code, without which nothing is loaded. @param entry  the function's name; "" for "PluginMain",
   or else "main". */
#define MV_PLUGIN_ENTRY(entry)                                                                     \
    (                                                                                              \
        struct {                                                                                   \
            PIProperty property;                                                                   \
            unsigned char length;                                                                  \
            char text[MV_PADDED(sizeof(entry) + 1) - 1];                                           \
        },                                                                                         \
        {{kMVVendorID, kMVProperty_CodeEntry, 0, sizeof(entry) + 1}, sizeof(entry) - 1, entry})

/* @param bits  of kMVCapability_... */
#define MV_PLUGIN_CAPABILITIES(bits)                                                               \
    (                                                                                              \
        struct {                                                                                   \
            PIProperty property;                                                                   \
            unsigned char data[4];                                                                 \
        },                                                                                         \
        {{kMVVendorID, kMVProperty_Capabilities, 0, 4}, {bits, 0, 0, 0}})

/* Started early, disposed of last. */
#define MV_PLUGIN_STARTS_EARLY                                                                     \
    (struct { PIProperty property; }, {{kMVVendorID, kMVProperty_StartsEarly, 0, 0}})

/* The plug-in is an adapter. @param version  2: it is started ahead of all. */
#define MV_PLUGIN_ADAPTER(version) MV_PROPERTY_NUMBER(kMVVendorID, kMVProperty_Adapter, 0, version)

/* The suites that the plug-in adds when it is started: up to 12 of MV_EXPORT(name, version). */
#define MV_PLUGIN_EXPORTS(...)                                                                     \
    (                                                                                              \
        struct {                                                                                   \
            PIProperty property;                                                                   \
            uint32_t count;                                                                        \
            MV_EACH(MV_MEMBER, __VA_ARGS__)                                                        \
        },                                                                                         \
        {{kMVVendorID, kMVProperty_Exports, 0, 4 MV_EACH(MV_EXPORT_BYTES, __VA_ARGS__)},           \
         MV_COUNT(__VA_ARGS__),                                                                    \
         MV_EACH(MV_EXPORT_VALUE, __VA_ARGS__)})
#define MV_EXPORT(name, version)                                                                   \
    (                                                                                              \
        struct {                                                                                   \
            uint32_t size;                                                                         \
            char text[MV_PADDED(sizeof(name))];                                                    \
            int32_t number;                                                                        \
        },                                                                                         \
        8 + MV_PADDED(sizeof(name)), {MV_PADDED(sizeof(name)) + 4, name, version})

/* A property of your own. @param vendorID, key  four characters, read as a big-endian number. */
#define MV_PROPERTY_TEXT(vendorID, key, id, text)                                                  \
    (                                                                                              \
        struct {                                                                                   \
            PIProperty property;                                                                   \
            char data[MV_PADDED(sizeof(text))];                                                    \
        },                                                                                         \
        {{vendorID, key, id, sizeof(text)}, text})
#define MV_PROPERTY_NUMBER(vendorID, key, id, number)                                              \
    (                                                                                              \
        struct {                                                                                   \
            PIProperty property;                                                                   \
            int32_t data;                                                                          \
        },                                                                                         \
        {{vendorID, key, id, 4}, number})

/* The list itself. */
#define MV_PLUGIN_PROPERTIES(...)                                                                  \
    struct MVPluginPropertiesRecord                                                                \
    {                                                                                              \
        PIPropertyList list;                                                                       \
        MV_EACH(MV_MEMBER, __VA_ARGS__)                                                            \
    };                                                                                             \
    MV_C_LINKAGE MV_API const struct MVPluginPropertiesRecord MVPluginProperties;                  \
    const struct MVPluginPropertiesRecord MVPluginProperties MV_PROPERTIES_SECTION = {             \
        {1, MV_COUNT(__VA_ARGS__)}, MV_EACH(MV_VALUE, __VA_ARGS__)}

/* From here on: how it is done. Each argument is a type and its value, in brackets; between the two, an export
   has its size. */
#ifdef __cplusplus
#define MV_C_LINKAGE extern "C"
#else
#define MV_C_LINKAGE extern
#endif

/* Kept though nothing refers to it, also where a linker drops what is unused. */
#if defined(__has_attribute)
#if __has_attribute(retain)
#define MV_PROPERTIES_SECTION __attribute__((section("mv_properties"), used, retain, aligned(4)))
#endif
#endif
#ifndef MV_PROPERTIES_SECTION
#define MV_PROPERTIES_SECTION __attribute__((section("mv_properties"), used, aligned(4)))
#endif

#define MV_PADDED(bytes) (((bytes) + 3) / 4 * 4)

#define MV_MEMBER(index, pair) MV_MEMBER_OF(index, MV_TYPE_OF pair)
#define MV_MEMBER_OF(index, type) type member##index;
#define MV_TYPE_OF(type, ...) type
#define MV_VALUE(index, pair) MV_VALUE_OF pair,
#define MV_VALUE_OF(type, ...) __VA_ARGS__
#define MV_EXPORT_BYTES(index, triple) +MV_EXPORT_BYTES_OF triple
#define MV_EXPORT_BYTES_OF(type, bytes, ...) bytes
#define MV_EXPORT_VALUE(index, triple) MV_EXPORT_VALUE_OF triple,
#define MV_EXPORT_VALUE_OF(type, bytes, ...) __VA_ARGS__

#define MV_COUNT(...) MV_COUNT_OF(__VA_ARGS__, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0)
#define MV_COUNT_OF(a, b, c, d, e, f, g, h, i, j, k, l, count, ...) count
#define MV_EACH(x, ...) MV_EACH_OF(MV_COUNT(__VA_ARGS__))(x, __VA_ARGS__)
#define MV_EACH_OF(count) MV_EACH_JOIN(count)
#define MV_EACH_JOIN(count) MV_EACH_##count
#define MV_EACH_1(x, a) x(0, a)
#define MV_EACH_2(x, a, b) x(0, a) x(1, b)
#define MV_EACH_3(x, a, b, c) x(0, a) x(1, b) x(2, c)
#define MV_EACH_4(x, a, b, c, d) x(0, a) x(1, b) x(2, c) x(3, d)
#define MV_EACH_5(x, a, b, c, d, e) x(0, a) x(1, b) x(2, c) x(3, d) x(4, e)
#define MV_EACH_6(x, a, b, c, d, e, f) x(0, a) x(1, b) x(2, c) x(3, d) x(4, e) x(5, f)
#define MV_EACH_7(x, a, b, c, d, e, f, g) x(0, a) x(1, b) x(2, c) x(3, d) x(4, e) x(5, f) x(6, g)
#define MV_EACH_8(x, a, b, c, d, e, f, g, h)                                                       \
    x(0, a) x(1, b) x(2, c) x(3, d) x(4, e) x(5, f) x(6, g) x(7, h)
#define MV_EACH_9(x, a, b, c, d, e, f, g, h, i)                                                    \
    x(0, a) x(1, b) x(2, c) x(3, d) x(4, e) x(5, f) x(6, g) x(7, h) x(8, i)
#define MV_EACH_10(x, a, b, c, d, e, f, g, h, i, j)                                                \
    x(0, a) x(1, b) x(2, c) x(3, d) x(4, e) x(5, f) x(6, g) x(7, h) x(8, i) x(9, j)
#define MV_EACH_11(x, a, b, c, d, e, f, g, h, i, j, k)                                             \
    x(0, a) x(1, b) x(2, c) x(3, d) x(4, e) x(5, f) x(6, g) x(7, h) x(8, i) x(9, j) x(10, k)
#define MV_EACH_12(x, a, b, c, d, e, f, g, h, i, j, k, l)                                          \
    x(0, a) x(1, b) x(2, c) x(3, d) x(4, e) x(5, f) x(6, g) x(7, h) x(8, i) x(9, j) x(10, k)       \
        x(11, l)

#endif
