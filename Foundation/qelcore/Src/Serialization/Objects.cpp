#include "qelcore/Serialization.h"

#include <boost/make_shared.hpp>

namespace qelcore
{
namespace serialization
{

void AddToObject(boost::any& ioObject, const UTF8String& inName, const boost::any& inValue)
{
    if (ioObject.empty())
        ioObject = Object();
    boost::any_cast<Object&>(ioObject)[inName] = boost::make_shared<boost::any>(inValue);
}

Variant GetVariantInObject(const Variant& inObject, const UTF8String& inName)
{
    const Object* const object = boost::any_cast<Object>(inObject.get());
    if (object == nullptr)
        return Variant();
    const Object::const_iterator found = object->find(inName);
    return found == object->end() ? Variant() : found->second;
}

} // namespace serialization
} // namespace qelcore
