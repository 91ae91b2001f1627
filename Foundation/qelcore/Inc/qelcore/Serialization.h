#pragma once

#include <cstddef>
#include <map>
#include <vector>

#include <boost/any.hpp>
#include <boost/shared_ptr.hpp>

#include "qelcore/Export.h"
#include "qelcore/UTFString.h"

// Values of mixed types as JSON text, and back. A value is a boost::any that holds one of:
//
//     nothing               null
//     bool                  true, false
//     unsigned long long    a whole number without a sign, up to 2^64 - 1
//     long long             a whole number with a minus ("-0" too), down to -2^63
//     double                every other number
//     UTF8String            a string
//     Array, Object         the shared values in it; a null pointer stands for null
//
// Threads  Free functions without state. A value belongs to one thread at a time.
// Errors   Those told at the functions, and std::bad_alloc.
namespace qelcore
{
namespace serialization
{

using Variant = boost::shared_ptr<boost::any>;
using Array = std::vector<Variant>;
using Object = std::map<UTF8String, Variant>;

// What is deeper or larger is refused: text of others must neither overflow the stack nor take much more
// memory than it has bytes for.
constexpr std::size_t kMaxJSONDepth = 64;        ///< arrays and objects in each other
constexpr std::size_t kMaxJSONValues = 1u << 20; ///< of all kinds, in one text

/// Reads a text that is one JSON value (RFC 8259), blanks around it and a byte order mark allowed. Of
/// several members of one name the last stands.
/// @return null if it is none: bad syntax, no UTF-8, an escaped surrogate without its other half, a number
///         beyond the range of double, NaN and the like, too deep, too many values.
RK_API Variant JSONParse(const UTF8String& inText);

/// Writes a value, members in the order of their names' bytes. Bytes that are no UTF-8 become U+FFFD, and a
/// double that JSON has no number for becomes null.
/// @param inIndented  false: one line without blanks; true: each member on a line of its own.
/// @throws boost::bad_any_cast  if a value is of no kind above.
/// @throws std::length_error    if values stand in each other deeper than kMaxJSONDepth.
RK_API UTF8String GetJSONUTF8String(const boost::any& inValue, bool inIndented);

/// Puts a member into an object, in place of one of that name.
/// @param ioObject  holds an Object, or nothing, and then becomes one.
/// @throws boost::bad_any_cast  if it holds anything else.
RK_API void AddToObject(boost::any& ioObject, const UTF8String& inName, const boost::any& inValue);

/// @return the member of that name, shared with the object; null if there is none, or if inObject is null
///         or no object.
RK_API Variant GetVariantInObject(const Variant& inObject, const UTF8String& inName);

} // namespace serialization
} // namespace qelcore
