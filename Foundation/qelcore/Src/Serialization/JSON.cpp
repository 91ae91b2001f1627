// The only unit that knows the JSON library, whose header takes seconds to compile.
#include "qelcore/Serialization.h"

#include <stdexcept>
#include <string>
#include <utility>

#include <boost/make_shared.hpp>
#include <nlohmann/json.hpp>

namespace qelcore
{
namespace serialization
{

namespace
{

using JSON = nlohmann::json;

// Builds the value while the parser goes through the text. Answering false ends the parsing.
class Builder : public nlohmann::json_sax<JSON>
{
public:
    Variant Result() const { return mRoot; }

    bool null() override { return Put(boost::any()); }
    bool boolean(bool inValue) override { return Put(inValue); }
    bool number_integer(number_integer_t inValue) override
    {
        return Put(static_cast<long long>(inValue));
    }
    bool number_unsigned(number_unsigned_t inValue) override
    {
        return Put(static_cast<unsigned long long>(inValue));
    }
    bool number_float(number_float_t inValue, const string_t&) override { return Put(inValue); }
    bool string(string_t& ioValue) override { return Put(ToUTF8String(ioValue)); }
    bool binary(binary_t&) override { return false; } // no JSON text has any
    bool start_object(std::size_t) override { return Enter(Object()); }
    bool key(string_t& ioName) override
    {
        mName = ToUTF8String(ioName);
        return true;
    }
    bool end_object() override { return Leave(); }
    bool start_array(std::size_t) override { return Enter(Array()); }
    bool end_array() override { return Leave(); }
    bool parse_error(std::size_t, const std::string&, const nlohmann::detail::exception&) override
    {
        return false;
    }

private:
    /// Puts a value where the text is.
    bool Put(boost::any inValue)
    {
        if (mCount++ == kMaxJSONValues)
            return false;
        Variant value = boost::make_shared<boost::any>(std::move(inValue));
        if (mOpen.empty())
            mRoot = value;
        else if (Object* const object = boost::any_cast<Object>(mOpen.back().get()))
            (*object)[mName] = value;
        else
            boost::any_cast<Array&>(*mOpen.back()).push_back(value);
        mLast = std::move(value);
        return true;
    }
    bool Enter(boost::any inContainer)
    {
        if (mOpen.size() == kMaxJSONDepth || !Put(std::move(inContainer)))
            return false;
        mOpen.push_back(std::move(mLast));
        return true;
    }
    bool Leave()
    {
        mOpen.pop_back();
        return true;
    }

    Variant mRoot;
    Variant mLast;              // what was put last
    std::vector<Variant> mOpen; // the arrays and objects around the place where the text is
    UTF8String mName;           // of the next member of an object
    std::size_t mCount = 0;
};

// Replaces bytes that are no UTF-8, where the default would raise.
std::string TextOf(const JSON& inValue)
{
    return inValue.dump(-1, ' ', false, JSON::error_handler_t::replace);
}

std::string TextOf(const UTF8String& inText)
{
    return TextOf(JSON(ToNarrowString(inText)));
}

class Writer
{
public:
    explicit Writer(bool inIndented)
        : mIndented(inIndented)
    {
    }
    const std::string& Text() const { return mText; }

    void Write(const boost::any& inValue)
    {
        if (const auto* const object = boost::any_cast<Object>(&inValue))
            Write(*object);
        else if (const auto* const array = boost::any_cast<Array>(&inValue))
            Write(*array);
        else if (const auto* const text = boost::any_cast<UTF8String>(&inValue))
            mText += TextOf(*text);
        else
            mText += inValue.empty() ? "null" : TextOf(NumberIn(inValue));
    }

private:
    static JSON NumberIn(const boost::any& inValue)
    {
        if (const auto* const natural = boost::any_cast<unsigned long long>(&inValue))
            return *natural;
        if (const auto* const whole = boost::any_cast<long long>(&inValue))
            return *whole;
        if (const auto* const real = boost::any_cast<double>(&inValue))
            return *real;
        return boost::any_cast<bool>(inValue);
    }
    void Write(const Object& inObject)
    {
        Open('{');
        bool first = true;
        for (const auto& member : inObject)
        {
            Separate(first);
            mText += TextOf(member.first) + (mIndented ? ": " : ":");
            Write(member.second);
        }
        Close('}', first);
    }
    void Write(const Array& inArray)
    {
        Open('[');
        bool first = true;
        for (const Variant& element : inArray)
        {
            Separate(first);
            Write(element);
        }
        Close(']', first);
    }
    void Write(const Variant& inValue) { Write(inValue ? *inValue : boost::any()); }

    void Open(char inBracket)
    {
        if (mDepth == kMaxJSONDepth)
            throw std::length_error("values stand in each other too deep for JSON");
        ++mDepth;
        mText += inBracket;
    }
    void Separate(bool& ioFirst)
    {
        if (!std::exchange(ioFirst, false))
            mText += ',';
        BreakLine();
    }
    void Close(char inBracket, bool inEmpty)
    {
        --mDepth;
        if (!inEmpty)
            BreakLine();
        mText += inBracket;
    }
    void BreakLine()
    {
        if (mIndented)
            mText.append(1, '\n').append(2 * mDepth, ' ');
    }

    const bool mIndented;
    std::string mText;
    std::size_t mDepth = 0;
};

} // namespace

Variant JSONParse(const UTF8String& inText)
{
    // The parser takes a NUL for the end of the text, whatever follows it.
    if (inText.find(UTF8Unit(0)) != UTF8String::npos)
        return Variant();
    Builder builder;
    // As char: the standard library's traits of unsigned char have an end of their own.
    const char* const begin = reinterpret_cast<const char*>(inText.data());
    return JSON::sax_parse(begin, begin + inText.size(), &builder) ? builder.Result() : Variant();
}

UTF8String GetJSONUTF8String(const boost::any& inValue, bool inIndented)
{
    Writer writer(inIndented);
    writer.Write(inValue);
    return ToUTF8String(writer.Text());
}

} // namespace serialization
} // namespace qelcore
