// Conversions between UTF-8 and UTF-16.
//
// Four texts of 64 KiB of UTF-8: ascii, mixed (German, about one letter in ten beyond ASCII), cjk (three
// bytes each), emoji (four bytes each); and path, one file name of 47 ASCII bytes, the usual case here.
// Bytes per second count the UTF-8 side. The peer is the loop that everybody writes first: one code point
// at a time, pushed onto the string, without any check.

#include <string>

#include <benchmark/benchmark.h>

#include "qelcore/CaseFolding.h"
#include "qelcore/TextConversion.h"

namespace
{

using qelcore::UTF16String;

std::string Repeated(const std::string& inPiece, std::size_t inSize)
{
    std::string text;
    while (text.size() + inPiece.size() <= inSize)
        text += inPiece;
    return text;
}

const std::string& TextOf(const benchmark::State& inState)
{
    static const std::string sTexts[] = {
        Repeated("Seven quick frames jump over the lazy cache. ", 65536),
        Repeated("Übergröße: schön, daß früher müde Füße hätten. ", 65536),
        Repeated("\u6620\u50CF\u306E\u30D5\u30EC\u30FC\u30E0", 65536),
        Repeated("\U0001F3AC\U0001F39E\U0001F4FD", 65536),
        "/media/project/reel_17/shot_0042/frame_0001.tif",
    };
    return sTexts[inState.range(0)];
}

struct Ours
{
    static UTF16String ToUTF16(const std::string& inText)
    {
        return qelcore::utility::NarrowToUTF16(inText);
    }
    static std::string ToUTF8(const UTF16String& inText)
    {
        return qelcore::utility::UTF16ToNarrow(inText);
    }
};

struct FileNames
{
    static UTF16String ToUTF16(const std::string& inText)
    {
        return qelcore::utility::FileNameToUTF16(inText);
    }
    static std::string ToUTF8(const UTF16String& inText)
    {
        return qelcore::utility::UTF16ToFileName(inText);
    }
};

struct PlainLoop
{
    static UTF16String ToUTF16(const std::string& inText)
    {
        UTF16String text;
        for (std::size_t i = 0; i < inText.size();)
        {
            const auto lead = static_cast<unsigned char>(inText[i++]);
            const int more = lead < 0x80 ? 0 : lead < 0xE0 ? 1 : lead < 0xF0 ? 2 : 3;
            char32_t codePoint = more == 0 ? lead : lead & (0x3Fu >> more);
            for (int k = 0; k < more; ++k)
                codePoint = (codePoint << 6) | (static_cast<unsigned char>(inText[i++]) & 0x3Fu);
            if (codePoint >= 0x10000)
            {
                text.push_back(static_cast<char16_t>(0xD7C0 + (codePoint >> 10)));
                codePoint = 0xDC00 + (codePoint & 0x3FF);
            }
            text.push_back(static_cast<char16_t>(codePoint));
        }
        return text;
    }
    static std::string ToUTF8(const UTF16String& inText)
    {
        std::string text;
        for (std::size_t i = 0; i < inText.size(); ++i)
        {
            char32_t codePoint = inText[i];
            if ((codePoint & 0xFC00) == 0xD800)
                codePoint = 0x10000 + ((codePoint & 0x3FF) << 10) + (inText[++i] & 0x3FFu);
            const int more = codePoint < 0x80      ? 0
                             : codePoint < 0x800   ? 1
                             : codePoint < 0x10000 ? 2
                                                   : 3;
            constexpr unsigned char kLeads[] = {0, 0xC0, 0xE0, 0xF0};
            text.push_back(static_cast<char>(kLeads[more] | (codePoint >> (6 * more))));
            for (int k = more - 1; k >= 0; --k)
                text.push_back(static_cast<char>(0x80 | ((codePoint >> (6 * k)) & 0x3F)));
        }
        return text;
    }
};

void CountBytes(benchmark::State& ioState)
{
    static const char* const sNames[] = {"ascii", "mixed", "cjk", "emoji", "path"};
    ioState.SetLabel(sNames[ioState.range(0)]);
    ioState.SetBytesProcessed(static_cast<std::int64_t>(TextOf(ioState).size()) *
                              ioState.iterations());
}

template <class Converter>
void ToUTF16(benchmark::State& ioState)
{
    const std::string& text = TextOf(ioState);
    for (auto _ : ioState)
        benchmark::DoNotOptimize(Converter::ToUTF16(text));
    CountBytes(ioState);
}

template <class Converter>
void ToUTF8(benchmark::State& ioState)
{
    const UTF16String text = Ours::ToUTF16(TextOf(ioState));
    for (auto _ : ioState)
        benchmark::DoNotOptimize(Converter::ToUTF8(text));
    CountBytes(ioState);
}

BENCHMARK_TEMPLATE(ToUTF16, Ours)->DenseRange(0, 4);
BENCHMARK_TEMPLATE(ToUTF16, PlainLoop)->DenseRange(0, 4);
BENCHMARK_TEMPLATE(ToUTF16, FileNames)->Arg(4);
BENCHMARK_TEMPLATE(ToUTF8, Ours)->DenseRange(0, 4);
BENCHMARK_TEMPLATE(ToUTF8, PlainLoop)->DenseRange(0, 4);
BENCHMARK_TEMPLATE(ToUTF8, FileNames)->Arg(4);

} // namespace
