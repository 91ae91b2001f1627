#pragma once

#include <stdexcept>
#include <string>

#include "qelcore/Export.h"
#include "qelcore/UTFString.h"

namespace qelcore
{
namespace config
{

// By the debug/config owner: ReplacementValue, ErrorManager with its operations in order, ThrowError.

/// What ThrowError raises unless the error manager in force decides otherwise.
class RK_API Error : public std::runtime_error
{
public:
    Error(int inLevel, const std::string& inKey, const UTF16String& inText);
    ~Error() override;
    int Level() const noexcept;
    /// The localisable literal that was raised, "$$$/key=default".
    const std::string& Key() const noexcept;
    const UTF16String& Text() const noexcept;

private:
    int mLevel;
    std::string mKey;
    UTF16String mText;
};

} // namespace config
} // namespace qelcore
