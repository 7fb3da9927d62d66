// Paths: the grammar on a table of texts around each rule's boundary, what the constructors strip,
// the edits and operators, the two comparison rules, sharing of the stored text, the trip through
// std::filesystem::path, and generated texts held to the relations of PathInvariants.h.
#include "PathInvariants.h"
#include "TStringTestSupport.h"

#include <algorithm>
#include <cctype>
#include <gtest/gtest.h>
#include <kestal/TPathCore.h>
#include <random>
#include <string>

namespace {

using namespace std::literals;
using kestal::testing::constructionFailure;
using kestal::testing::pathInvariantFailure;
using kestal::testing::text;
using std::u16string;
using std::u16string_view;

TStringCore units(u16string const& s) {
    return TStringCore(s.data(), static_cast<int>(s.size()));
}

TPathCore exact(u16string const& s) {
    return TPathCore::MakePath(units(s));
}

TEST(TPathCore, QueriesFollowTheGrammar) {
    // flags: U IsUNC, X IsExtendedLength, A IsAdminShare, D IsDots. The parts that follow from the
    // positions (root name and path, filename, extension, stem, object name) are checked by the
    // invariants.
    struct Row {
        u16string path;
        int root, rootDir, filename, extension;
        u16string parent, share;
        int objectAt;
        std::string flags;
    };
    const Row rows[] = {
        {u"", 0, -1, -1, -1, u"", u"", -1, ""},
        {u"/", 0, 0, -1, -1, u"", u"", -1, ""},
        {u"/a/b", 0, 0, 3, -1, u"/a", u"", 2, ""},
        {u"a/b", 0, -1, 2, -1, u"a", u"", -1, ""},
        {u"a", 0, -1, 0, -1, u"", u"", -1, ""},
        {u"C:", 2, -1, 0, -1, u"", u"", -1, ""},
        {u"C:/", 2, 2, 3, -1, u"", u"", -1, ""},
        {u"C:/a", 2, 2, 3, -1, u"C:/", u"", -1, ""},
        {u"C:a", 2, -1, 0, -1, u"", u"", -1, ""},
        {u"\u00E9:/x", 2, 2, 3, -1, u"\u00E9:/", u"", -1, ""}, // any letter makes a drive
        {u"\xD800:/x", 0, -1, 3, -1, u"\xD800:", u"", -1, ""},
        {u"//server", 8, -1, 2, -1, u"/", u"", -1, "U"},
        {u"//server/", 8, 8, 9, -1, u"", u"", -1, "U"},
        {u"//server/share", 8, 8, 9, -1, u"//server/", u"share", -1, "U"},
        {u"//server/share/x/y", 8, 8, 17, -1, u"//server/share/x", u"share", 14, "U"},
        {u"//server/C$/x", 8, 8, 12, -1, u"//server/C$", u"C$", 11, "UA"},
        {u"//s/\u00E9$", 3, 3, 4, -1, u"//s/", u"\u00E9$", -1, "UA"},
        {u"//server/1$", 8, 8, 9, -1, u"//server/", u"1$", -1, "U"},
        {u"//server//x", 8, 8, 10, -1, u"//server/", u"/x", 9, "U"}, // empty share: the rest
        {u"//?/UNC/server/share", 3, 3, 15, -1, u"//?/UNC/server", u"UNC", 7, "UX"},
        {u"//?/unc/x", 3, 3, 8, -1, u"//?/unc", u"unc", 7, "UX"},
        {u"//?/C:/x", 0, 0, 7, -1, u"//?/C:", u"", 1, "X"},
        {u"//?/UNC", 0, 0, 4, -1, u"//?", u"", 1, "X"}, // 7 units: too short for UNC
        {u"//?/UNC/", 3, 3, 8, -1, u"//?/UNC", u"UNC", 7, "UX"},
        {u"//?/", 0, 0, 4, -1, u"//?", u"", 1, "X"},
        {u"//", 0, 0, -1, -1, u"/", u"", 1, ""},
        {u"//x", 3, -1, 2, -1, u"/", u"", -1, "U"},
        {u"///", 2, 2, -1, -1, u"//", u"", -1, "U"},
        {u"///x", 2, 2, 3, -1, u"///", u"x", -1, "U"},
        {u"\\\\server\\share", 0, -1, 0, -1, u"", u"", -1, ""},
        {u"C:\\dir\\f.txt", 2, -1, 0, 9, u"", u"", -1, ""},
        {u"a/", 0, -1, 2, -1, u"a", u"", 1, ""}, // an empty filename, and the last unit read
        {u"/a/", 0, 0, 3, -1, u"/a", u"", 2, ""},
        {u"a//b", 0, -1, 3, -1, u"a/", u"", -1, ""},
        {u".", 0, -1, 0, -1, u"", u"", -1, "D"},
        {u"a/..", 0, -1, 2, -1, u"a", u"", -1, "D"},
        {u"...", 0, -1, 0, -1, u"", u"", -1, ""},
        {u".profile", 0, -1, 0, -1, u"", u"", -1, ""},
        {u"..a.b", 0, -1, 0, 4, u"", u"", -1, ""},
        {u"a.", 0, -1, 0, 2, u"", u"", -1, ""},
        {u"archive.tar.gz", 0, -1, 0, 12, u"", u"", -1, ""},
        {u"a.b/c", 0, -1, 4, -1, u"a.b", u"", -1, ""},
        {u"/x/.y.z", 0, 0, 3, 6, u"/x", u"", 2, ""},
        {u"a\0/b"s, 0, -1, 3, -1, u"", u"", -1, ""}, // "a\0" compares equal to the path
    };
    for (Row const& row : rows) {
        const TPathCore p = exact(row.path);
        SCOPED_TRACE(std::string(row.path.begin(), row.path.end()));
        EXPECT_EQ(pathInvariantFailure(p), "");
        EXPECT_EQ(p.RootNameLength(), row.root);
        EXPECT_EQ(p.RootDirectoryPosition(), row.rootDir);
        EXPECT_EQ(p.FilenamePosition(), row.filename);
        EXPECT_EQ(p.ExtensionPosition(), row.extension);
        EXPECT_EQ(text(p.Parent()), row.parent);
        EXPECT_EQ(text(p.UNCShareName()), row.share);
        EXPECT_EQ(p.UNCObjectNamePosition(), row.objectAt);
        const std::string flags = std::string(p.IsUNC() ? "U" : "") + (p.IsExtendedLength() ? "X" : "") +
                                  (p.IsAdminShare() ? "A" : "") + (p.IsDots() ? "D" : "");
        EXPECT_EQ(flags, row.flags);
    }
    EXPECT_EQ(exact(u"//s/\u00E9$").AdminShareDriveLetter(), u'\u00E9');
    EXPECT_EQ(text(exact(u"archive.tar.gz").Stem()), u"archive.tar");
}

TEST(TPathCore, ConvertingConstructorsStripOneSeparatorBelowTheRootPath) {
    // Text and what the constructor keeps; a root path keeps its "/". "\0/" compares equal to its
    // empty root path, so it keeps the "/" too.
    const std::pair<u16string, u16string> cases[] = {{u"a/", u"a"},
                                                     {u"a//", u"a/"},
                                                     {u"/", u"/"},
                                                     {u"//", u"/"},
                                                     {u"///", u"///"},
                                                     {u"C:/", u"C:/"},
                                                     {u"\u00E9:/", u"\u00E9:/"},
                                                     {u"//server/", u"//server/"},
                                                     {u"//server/share/", u"//server/share"},
                                                     {u"//?/", u"//?"},
                                                     {u"//?/UNC/", u"//?/UNC"},
                                                     {u"a\\", u"a\\"},
                                                     {u"\0/"s, u"\0/"s},
                                                     {u"a\0/"s, u"a\0"s}};
    for (auto const& [input, kept] : cases) {
        EXPECT_EQ(text(TPathCore(units(input))), kept);
        EXPECT_EQ(text(TPathCore::MakePath(units(input))), input);
    }
    EXPECT_EQ(text(TPathCore(static_cast<char16_t const*>(nullptr))), u"");
    EXPECT_EQ(text(TPathCore::fromWindows(u"C:\\dir\\")), u"C:/dir");
    EXPECT_EQ(text(TPathCore::fromWindows(u"\\\\server\\share\\")), u"//server/share");

    // Swap strips only the value that goes out.
    TPathCore a = exact(u"a/"), b = exact(u"b/");
    a.Swap(b);
    EXPECT_EQ(text(a) + u"|" + text(b), u"b/|a");
}

TEST(TPathCore, EditsAndOperatorsJoinTextAsGiven) {
    const TPathCore a(u"a");
    TPathCore self(u"a"), viaText(u"a");
    TPathCore const& alias = self;
    self /= alias;
    viaText += u"b/"; // text becomes a path first, so it is stripped
    const std::pair<TPathCore, u16string_view> cases[] = {
        {exact(u"a/") / exact(u"/b"), u"a//b"},
        {a / u"b/", u"a/b"},
        {TPathCore() / a, u"a"},
        {self, u"a/a"},
        {a + exact(u"b/"), u"ab/"},
        {a + TStringCore(u"b/"), u"ab"},
        {a + u"b/", u"ab"},
        {a + static_cast<char16_t const*>(nullptr), u"a"},
        {a + u'/', u"a/"},
        {viaText, u"ab"},
        {exact(u"a/").Concat(exact(u"/")), u"a//"},
        {exact(u"a.b").ReplaceExtension(u".txt"), u"a..txt"},
        {exact(u"a.b").ReplaceExtension(u""), u"a"},
        {exact(u".profile").ReplaceExtension(u"x"), u".profile.x"},
        {exact(u"//server/share").RemoveFilename(), u"//server/"},
        {exact(u"C:a").RemoveFilename(), u""}};
    for (std::size_t i = 0; i < std::size(cases); ++i)
        EXPECT_EQ(text(cases[i].first), cases[i].second) << "case #" << i;
}

TEST(TPathCore, EqualityIgnoresCaseAndOrderingDoesNot) {
    EXPECT_TRUE(TPathCore(u"/A/b") == TPathCore(u"/a/B"));
    EXPECT_TRUE(TPathCore(u"/A") < TPathCore(u"/a"));
    EXPECT_FALSE(TPathCore(u"/a") < TPathCore(u"/A"));
    // Text on either side is made a path first: one trailing "/" goes.
    EXPECT_TRUE(exact(u"a") == u"A/" && u"A/" == exact(u"a"));
    EXPECT_TRUE(exact(u"a") == TStringCore(u"A/") && TStringCore(u"A/") == exact(u"a"));
    EXPECT_TRUE(exact(u"a/") != u"a/" && TStringCore(u"a/") != exact(u"a/"));

    // Against plain models on generated pairs: folded equality, code-unit order.
    std::mt19937 rng(7);
    std::uniform_int_distribution<int> pick(0, 5), length(0, 4);
    auto make = [&] {
        u16string s(static_cast<std::size_t>(length(rng)), u' ');
        for (char16_t& c : s)
            c = u"aAbB/."[pick(rng)];
        return s;
    };
    auto folded = [](u16string s) {
        std::transform(s.begin(), s.end(), s.begin(), [](char16_t c) { return c | 0x20; });
        return s;
    };
    for (int i = 0; i < 2000; ++i) {
        const u16string x = make(), y = make();
        EXPECT_EQ(exact(x) == exact(y), folded(x) == folded(y));
        EXPECT_EQ(exact(x).Compare(exact(y)) < 0, folded(x) < folded(y));
        EXPECT_EQ(exact(x) < exact(y), x < y);
    }
}

TEST(TPathCore, CopiesShareTheTextAndEditsDetach) {
    const TStringCore longText(u"/volume/projects/kestal/");
    const TPathCore stripped(longText);
    EXPECT_EQ(text(longText), u"/volume/projects/kestal/");
    EXPECT_EQ(text(stripped), u"/volume/projects/kestal");

    const TPathCore original = stripped;
    TPathCore copy = original;
    EXPECT_EQ(TStringCore(copy).constData(), TStringCore(original).constData());
    copy /= u"src";
    copy.RemoveExtension().ReplaceExtension(u"x");
    EXPECT_EQ(text(original), u"/volume/projects/kestal");
    EXPECT_EQ(text(copy), u"/volume/projects/kestal/src.x");
    EXPECT_EQ(text(original.Parent()), u"/volume/projects");
}

TEST(TPathCore, StdPathCarriesUtf8BothWays) {
    EXPECT_EQ(TPathCore(u"/tmp/\u00E9\\x").ToStdPath().native(), "/tmp/\xC3\xA9\\x");
    EXPECT_EQ(TPathCore(u"a\xD800/b").ToStdPath().native(), "a\xEF\xBF\xBD/b");
    EXPECT_EQ(TPathCore().ToStdPath().native(), "");
    EXPECT_EQ(text(TPathCore::FromStdPath("a\xFF/")), u"a\uFFFD");
    EXPECT_EQ(text(TPathCore::FromStdPath("C:\\d\\")), u"C:\\d\\");
    EXPECT_EQ(text(TPathCore::FromStdPath(exact(u"\U0001F600/x/").ToStdPath())), u"\U0001F600/x");
}

TEST(TPathCore, GeneratedTextsKeepTheInvariants) {
    // Every text of up to 4 units over the units the grammar reads, then longer random ones.
    constexpr char16_t alphabet[] = u"/\\:?.$CUNx";
    auto check = [](u16string const& s) {
        const TStringCore t = units(s);
        SCOPED_TRACE(std::string(s.begin(), s.end()));
        EXPECT_EQ(pathInvariantFailure(TPathCore::MakePath(t)), "");
        EXPECT_EQ(pathInvariantFailure(TPathCore(t)), "");
        EXPECT_EQ(constructionFailure(t), "");
    };
    u16string s;
    for (int n = 0, count = 1; n <= 4; ++n, count *= 10)
        for (int code = 0; code < count; ++code) {
            s.clear();
            for (int i = 0, c = code; i < n; ++i, c /= 10)
                s.push_back(alphabet[c % 10]);
            check(s);
        }
    std::mt19937 rng(13);
    std::uniform_int_distribution<int> unit(0, 9), length(5, 12);
    for (int i = 0; i < 20000; ++i) {
        s.assign(static_cast<std::size_t>(length(rng)), u'x');
        for (char16_t& c : s)
            c = alphabet[unit(rng)];
        check(s);
    }
}

} // namespace
