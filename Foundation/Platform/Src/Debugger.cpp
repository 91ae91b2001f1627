#include "Platform/Debugger.h"

#include <charconv>

#include <fcntl.h>
#include <unistd.h>

namespace Platform
{

bool StatusNamesATracer(std::string_view inStatus) noexcept
{
    constexpr std::string_view kField = "\nTracerPid:\t";
    const std::size_t found = inStatus.find(kField);
    if (found == std::string_view::npos)
        return false;
    const std::string_view value = inStatus.substr(found + kField.size());
    int tracer = 0;
    const std::from_chars_result result =
        std::from_chars(value.data(), value.data() + value.size(), tracer);
    return result.ec == std::errc() && tracer != 0;
}

bool IsDebuggerAttached() noexcept
{
    const int status = open("/proc/self/status", O_RDONLY | O_CLOEXEC);
    if (status < 0)
        return false;
    char text[4096]; // the field stands within the first few hundred bytes
    const ssize_t size = read(status, text, sizeof text);
    close(status);
    return size > 0 && StatusNamesATracer({text, static_cast<std::size_t>(size)});
}

} // namespace Platform
