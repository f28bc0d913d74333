#include "fl/filesystem/Canonical.hpp"
#include "fl/filesystem/FsysExceptionBase.hpp"
#include "fl/i18n/Conversion.hpp"
#include "fl/i18n/ConversionError.hpp"
#include "fl/i18n/codecvt_string_to_ustring.hpp"
#include "support/TempDir.hpp"

#include <filesystem>
#include <gtest/gtest.h>

using namespace fl::i18n;

namespace {

/// Where a conversion finds its fault.
template <class Convert>
std::size_t faultOf(Convert convert) {
    try {
        return convert(), std::string::npos;
    } catch (const ConversionError& error) {
        EXPECT_NE(std::string(error.what()).find(std::to_string(error.offset())), std::string::npos);
        return error.offset();
    }
}

TEST(I18n, Utf8ToUtf16) {
    const std::pair<std::string, std::u16string> cases[] = {
        {"", u""},
        {"plain ASCII of more than one word", u"plain ASCII of more than one word"},
        {std::string("a\0b", 3), std::u16string(u"a\0b", 3)},
        {"\xEF\xBB\xBF\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80", u"\uFEFF\x7F\x80\u07FF\u0800"},
        {"1234567\xF0\x90\x80\x80\xF4\x8F\xBF\xBF\xEF\xBF\xBD", u"1234567\U00010000\U0010FFFF\uFFFD"},
    };
    for (const auto& [utf8, utf16] : cases) {
        EXPECT_EQ(to_ustring(utf8), utf16);
        EXPECT_EQ(utf8_to_ustring(utf8), utf16);
        EXPECT_EQ(ustring_to_utf8(utf16), utf8);
    }
    for (std::size_t before = 4080; before != 4100; ++before) {  // where long texts are put together
        const std::string text = std::string(before, 'a') + "\xF0\x9F\x98\x80\xC2\x80";
        EXPECT_EQ(utf8_to_ustring(text), std::u16string(before, u'a') + u"\U0001F600\x80");
    }
    EXPECT_THROW(codecvt_string_to_ustring("latin1"), std::invalid_argument);
}

TEST(I18n, MalformedUtf8) {
    const std::tuple<std::string, std::u16string, std::size_t> cases[] = {
        {"ab\x80z", u"ab\uFFFDz", 2},                          // a continuation byte alone
        {"\xC0\xAF", u"\uFFFD\uFFFD", 0},                      // an overlong form
        {"12345678\xE2\x82", u"12345678\uFFFD", 8},            // cut short at the end
        {"\xE2\x82(", u"\uFFFD(", 0},                          // cut short by a character
        {"x\xED\xA0\x80", u"x\uFFFD\uFFFD\uFFFD", 1},          // a surrogate
        {"\xF4\x90\x80\x80", u"\uFFFD\uFFFD\uFFFD\uFFFD", 0},  // beyond U+10FFFF
    };
    for (const auto& [utf8, lenient, fault] : cases) {
        EXPECT_EQ(to_ustring(utf8), lenient);
        EXPECT_EQ(faultOf([&utf8 = utf8] { codecvt_string_to_ustring("utf-8")(utf8); }), fault);
    }
}

TEST(I18n, LoneSurrogates) {
    const std::pair<std::u16string, std::size_t> cases[] = {
        {{0xD800}, 0}, {{u'a', 0xDC00, u'b'}, 1}, {{u'a', u'b', 0xDBFF}, 2}, {{0xD83D, 0xDE00, 0xDE00}, 2}};
    for (const auto& [text, fault] : cases) {
        EXPECT_EQ(to_ustring(to_string(text)).find(u'\uFFFD'), fault);
        EXPECT_EQ(faultOf([&text = text] { ustring_to_utf8(text); }), fault);
    }
}

TEST(I18n, LowerCase) {
    const std::pair<std::u16string, std::u16string> cases[] = {
        {u"Model.TQX @[`{", u"model.tqx @[`{"},
        {u"\u0130\u0130\u0130\u0130", u"i\u0307i\u0307i\u0307i\u0307"},  // the text outgrows its length
        {u"\u039F\u03A3 \u03A3\u0391", u"\u03BF\u03C2 \u03C3\u03B1"},    // a sigma at the end of a word
        {u"\U00010400", u"\U00010428"},
    };
    for (const auto& [text, lower] : cases) {
        EXPECT_EQ(to_lower(text), lower) << to_string(text);
    }
}

TEST(Filesystem, Canonical) {
    namespace fs = std::filesystem;
    const support::TempDir folder;
    folder.put("f\u00E9.tqx", "");
    fs::create_directory(folder.path("sub"));
    fs::create_symlink("../f\u00E9.tqx", folder.path("sub/link"));
    const std::u16string base = folder.path().u16string();
    const std::u16string file = fs::canonical(folder.path("f\u00E9.tqx")).u16string();
    using fl::filesystem::canonical;
    EXPECT_EQ(canonical(base + u"/sub/./../f\u00E9.tqx", u""), file);
    EXPECT_EQ(canonical(u"sub/link", base), file);
    EXPECT_EQ(canonical(u".", u""), fs::current_path().u16string());
    folder.put("\xFF\xC3", "");
    EXPECT_EQ(canonical(u"\xDCFF\xDCC3", base), fs::canonical(folder.path()).u16string() + u"/\xDCFF\xDCC3");
    for (const std::u16string& bad :
         {base + u"/absent", base + u"/\xDC41", base + u"/\xD800", base + std::u16string(1, u'\0'), {}}) {
        EXPECT_THROW(canonical(bad, u""), fl::filesystem::FsysExceptionBase) << to_string(bad);
    }
}

}  // namespace
