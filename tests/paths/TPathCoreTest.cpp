// Paths: the grammar on a table of texts around each rule's boundary, what the constructors strip,
// the edits, the two comparison rules, sharing, the trip through std::filesystem::path, the element
// walk and its failures, and generated texts held to the relations of PathInvariants.h.
#include "PathInvariants.h"
#include "TStringTestSupport.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <functional>
#include <gtest/gtest.h>
#include <iterator>
#include <kestal/TPathCore.h>
#include <kestal/TStackWalker.h>
#include <latch>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <tuple>

namespace {

using namespace std::literals;
using kestal::testing::pathFailureCode;
using kestal::testing::pathInvariantFailure;
using kestal::testing::text;
using std::u16string;

TStringCore units(u16string const& s) {
    return TStringCore(s.data(), static_cast<int>(s.size()));
}

TPathCore exact(u16string const& s) {
    return TPathCore::MakePath(units(s));
}

TEST(TPathCore, QueriesFollowTheGrammar) {
    // flags: U IsUNC, X IsExtendedLength, A IsAdminShare, D IsDots. The parts that follow from the
    // positions are checked by the invariants.
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
        {u"a", 0, -1, 0, -1, u"", u"", -1, ""},
        {u"C:", 2, -1, 0, -1, u"", u"", -1, ""},
        {u"C:/a", 2, 2, 3, -1, u"C:/", u"", -1, ""},
        {u"C:a", 2, -1, 0, -1, u"", u"", -1, ""},
        {u"\u00E9:/x", 2, 2, 3, -1, u"\u00E9:/", u"", -1, ""}, // any letter makes a drive
        {u"\xD800:/x", 0, -1, 3, -1, u"\xD800:", u"", -1, ""},
        {u"//server", 8, -1, 2, -1, u"/", u"", -1, "U"},
        {u"//server/", 8, 8, 9, -1, u"", u"", -1, "U"},
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
        {u"//", 0, 0, -1, -1, u"/", u"", 1, ""},
        {u"//x", 3, -1, 2, -1, u"/", u"", -1, "U"},
        {u"///", 2, 2, -1, -1, u"//", u"", -1, "U"},
        {u"///x", 2, 2, 3, -1, u"///", u"x", -1, "U"},
        {u"\\\\server\\share", 0, -1, 0, -1, u"", u"", -1, ""},
        {u"C:\\dir\\f.txt", 2, -1, 0, 9, u"", u"", -1, ""},
        {u"a/", 0, -1, 2, -1, u"a", u"", 1, ""}, // an empty filename, and the last unit read
        {u"a//b", 0, -1, 3, -1, u"a/", u"", -1, ""},
        {u"a/..", 0, -1, 2, -1, u"a", u"", -1, "D"},
        {u"...", 0, -1, 0, -1, u"", u"", -1, ""},
        {u".profile", 0, -1, 0, -1, u"", u"", -1, ""},
        {u"..a.b", 0, -1, 0, 4, u"", u"", -1, ""},
        {u"a.", 0, -1, 0, 2, u"", u"", -1, ""},
        {u"a.b/c", 0, -1, 4, -1, u"a.b", u"", -1, ""},
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
}

TEST(TPathCore, ConvertingConstructorsStripOneSeparatorBelowTheRootPath) {
    // A root path keeps its "/"; "\0/" compares equal to its empty root path, so it keeps it too.
    // MakePath keeps every text.
    const u16string kept[] = {u"/", u"///", u"C:/", u"\u00E9:/", u"//server/", u"a\\", u"\0/"s, u"a"};
    const u16string dropOne[] = {u"a//", u"//", u"//server/share/", u"//?/UNC/", u"a\0/"s};
    for (u16string const& input : kept)
        EXPECT_EQ(text(TPathCore(units(input))), input);
    for (u16string const& input : dropOne) {
        EXPECT_EQ(text(TPathCore(units(input))), input.substr(0, input.size() - 1));
        EXPECT_EQ(text(TPathCore::MakePath(units(input))), input);
    }
    EXPECT_EQ(text(TPathCore(static_cast<char16_t const*>(nullptr))), u"");
    EXPECT_EQ(text(TPathCore::fromWindows(u"\\\\server\\share\\")), u"//server/share");

    // Swap strips only the value that goes out.
    TPathCore a = exact(u"a/"), b = exact(u"b/");
    a.Swap(b);
    EXPECT_EQ(text(a) + u"|" + text(b), u"b/|a");
}

TEST(TPathCore, EditsJoinTextAsGivenAndDetachFromCopies) {
    const TPathCore a(u"a");
    TPathCore self(u"a"), viaText(u"a");
    TPathCore const& alias = self;
    self /= alias;
    viaText += u"b/"; // text becomes a path first, so it is stripped
    const std::pair<TPathCore, std::u16string_view> cases[] = {
        {exact(u"a/") / exact(u"/b"), u"a//b"},
        {a / u"b/", u"a/b"},
        {TPathCore() / a, u"a"},
        {self, u"a/a"},
        {a + exact(u"b/"), u"ab/"},
        {a + TStringCore(u"b/"), u"ab"},
        {a + static_cast<char16_t const*>(nullptr), u"a"},
        {a + u'/', u"a/"},
        {viaText, u"ab"},
        {exact(u"a/").Concat(exact(u"/")), u"a//"},
        {exact(u"a.b").ReplaceExtension(u".txt"), u"a..txt"},
        {exact(u".profile").ReplaceExtension(u"x"), u".profile.x"},
        {exact(u"//server/share").RemoveFilename(), u"//server/"},
        {exact(u"C:a").RemoveFilename(), u""}};
    for (std::size_t i = 0; i < std::size(cases); ++i)
        EXPECT_EQ(text(cases[i].first), cases[i].second) << "case #" << i;

    const TPathCore original(TStringCore(u"/volume/projects/kestal/"));
    TPathCore copy = original;
    EXPECT_EQ(TStringCore(copy).constData(), TStringCore(original).constData()); // shared
    copy /= u"src";
    copy.ReplaceExtension(u"x");
    EXPECT_EQ(text(original), u"/volume/projects/kestal");
    EXPECT_EQ(text(copy), u"/volume/projects/kestal/src.x");
}

TEST(TPathCore, EqualityIgnoresCaseAndOrderingDoesNot) {
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

TEST(TPathCore, StdPathCarriesUtf8BothWays) {
    EXPECT_EQ(TPathCore(u"/tmp/\u00E9\\x").ToStdPath().native(), "/tmp/\xC3\xA9\\x");
    EXPECT_EQ(TPathCore(u"a\xD800/b").ToStdPath().native(), "a\xEF\xBF\xBD/b");
    EXPECT_EQ(text(TPathCore::FromStdPath("a\xFF/")), u"a\uFFFD");
    EXPECT_EQ(text(TPathCore::FromStdPath("C:\\d\\")), u"C:\\d\\");
    EXPECT_EQ(text(TPathCore::FromStdPath(exact(u"\U0001F600/x/").ToStdPath())), u"\U0001F600/x");
}

TEST(TPathCore, GeneratedTextsKeepTheInvariants) {
    // Every text of up to 4 units over the units the grammar reads, then longer random ones, zero
    // units among them.
    constexpr char16_t alphabet[] = u"/\\:?.$CUNx\0";
    auto check = [](u16string const& s) {
        const TStringCore t = units(s);
        SCOPED_TRACE(std::string(s.begin(), s.end()));
        const TPathCore stripped(t);
        EXPECT_EQ(pathInvariantFailure(TPathCore::MakePath(t)), "");
        if (TStringCore(stripped).size() != t.size()) {
            EXPECT_EQ(pathInvariantFailure(stripped), "");
        }
        EXPECT_EQ(kestal::testing::constructionFailure(t), "");
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
    std::uniform_int_distribution<int> unit(0, 10), length(5, 12);
    for (int i = 0; i < 6000; ++i) {
        s.assign(static_cast<std::size_t>(length(rng)), u'x');
        for (char16_t& c : s)
            c = alphabet[unit(rng)];
        check(s);
    }
}

// Element texts joined by "|", then "!" if the walk raised the element-end failure.
u16string walk(TPathCore const& path) {
    u16string joined;
    try {
        for (TStringCore const& element : path)
            joined += (joined.empty() ? u"" : u"|") + text(element);
    } catch (TPathCore::Exception const& e) {
        joined += e.GetErrorCode() == 0x38CA4808 ? u"|!" : u"|?";
    }
    return joined;
}

TEST(TPathCore, WalksByPositionArithmetic) {
    // After a relative path's first name comes the rest of the text; a path that ends with its
    // root cannot be walked past it. Texts are taken as they stand.
    const std::pair<u16string, u16string> cases[] = {{u"", u""},
                                                     {u"/a//b", u"/|a|b"},
                                                     {u"/a/", u"/|a"},
                                                     {u"C:/a/b", u"C:|/|a|b"},
                                                     {u"C://a", u"C:|/|/a|a"},
                                                     {u"//server/share/x", u"//server|/|share|x"},
                                                     {u"//?/UNC/srv/sh", u"//?|/|UNC|srv|sh"},
                                                     {u"///x", u"//|/|x"},
                                                     {u"a/b/c", u"a|/b/c|b|c"},
                                                     {u"..//b", u"..|//b|b"},
                                                     {u"a/", u"a|/"},
                                                     {u"C:a/b", u"C:|a|/b|b"},
                                                     {u"/", u"/|!"},
                                                     {u"C:", u"C:|!"},
                                                     {u"C:/", u"C:|/|!"},
                                                     {u"//server", u"//server|!"},
                                                     {u"//server/", u"//server|/|!"}};
    for (auto const& [path, elements] : cases)
        EXPECT_EQ(walk(exact(path)), elements) << std::string(path.begin(), path.end());
    EXPECT_EQ(text(TPathCore(u"/").front()), u"/");

    // Element lists: inverse on an absolute path, not on a relative one.
    EXPECT_EQ(text(TPathCore::fromVector(TPathCore(u"/a/b").toVector())), u"/a/b");
    EXPECT_EQ(text(TPathCore::fromVector(TPathCore(u"a/b").toVector())), u"a/b/b");
    EXPECT_EQ(text(TPathCore::fromVector({u"a/", u"", u"b//"})), u"a/b/");
}

TEST(TPathCore, IteratorsCompareTextsButAssignWithinOnePath) {
    static_assert(std::input_iterator<TPathCore::iterator>);
    const TPathCore upper(u"/A/b/c"), lower(u"/a/B/c"), other(u"/a/b/d");
    TPathCore::iterator it = upper.begin();
    EXPECT_TRUE(it == lower.begin() && ++it == ++lower.begin() && it != other.begin());
    EXPECT_TRUE(TPathCore::iterator(upper, 3) != TPathCore::iterator(other, 3)); // texts differ
    EXPECT_EQ(text(*it++), u"A");
    EXPECT_TRUE(text(*it) == u"b" && it->size() == 1);
    EXPECT_EQ(std::distance(upper.begin(), upper.end()), 4);

    TPathCore::iterator mark = upper.begin();
    mark = it;                    // one path object: copies
    const TPathCore twin = upper; // same text, another object
    EXPECT_EQ(pathFailureCode([&] { mark = twin.begin(); }), 0x4E3E0D3Fu);
    EXPECT_TRUE(mark == it && text(*mark) == u"b");
}

TEST(TPathCore, WalkFailuresCarryTheirRecordAndLeaveTheIterator) {
    const std::map<unsigned, std::u16string_view> messages = {
        {0x9E82DC54, u"TPathCore::iterator::locateElementEnd element starting position is out of range."},
        {0x38CA4808, u"TPathCore::iterator::locateNextElement element end position is out of range."},
        {0xA22179A7, u"Invalid position in TPathCore::iterator::nextElement."},
        {0x24209A38, u"TPathCore::iterator trying to increment beyond end."},
        {0x6C884971, u"TPathCore::iterator trying to decrement beyond beginning."},
        {0x2BC6B9CE, u"TPathCore::iterator out of sync in prev."},
        {0x4E3E0D3F, u"Invalid TPathCore::iterator asignment of from one TPathCore to different TPathCore."}};
    using Action = std::function<void(TPathCore const&, TPathCore::iterator&)>;
    // The path, the position of the iterator the action gets (-1: end()), the action, the code.
    const std::tuple<u16string, int, Action, unsigned> rows[] = {
        {u"ab", 0, [](auto& p, auto&) { TPathCore::iterator(p, 2); }, 0x9E82DC54},
        {u"//server/", 8, [](auto&, auto& it) { it++; }, 0x38CA4808},
        {u"/", 0, [](auto& p, auto&) { p.size(); }, 0x38CA4808},
        {u"ab", 0,
         [](auto&, auto& it) {
             it.getNextElement({2, -1, {}});
         },
         0xA22179A7},
        {u"ab", -1, [](auto&, auto& it) { ++it; }, 0x24209A38},
        {u"/a", 0, [](auto&, auto& it) { --it; }, 0x6C884971},
        {u"", -1, [](auto& p, auto&) { p.back(); }, 0x6C884971},
        {u"/a/b", 3, [](auto&, auto& it) { it--; }, 0x2BC6B9CE},
        {u"/a", 1, [](auto& p, auto& it) { it = TPathCore(p).begin(); }, 0x4E3E0D3F}};
    for (auto const& [text16, position, action, code] : rows) {
        const TPathCore path(units(text16));
        TPathCore::iterator it(path, position);
        const TStringCore before = *it;
        try {
            action(path, it);
            ADD_FAILURE() << "no exception for code " << code;
        } catch (TPathCore::Exception const& e) {
            char name[48];
            std::snprintf(name, sizeof name, "VelmoraException_AutoGen_0x%08X", code);
            EXPECT_TRUE(e.GetErrorCode() == code && e.GetErrorName().toStdString() == name);
            EXPECT_TRUE(e.GetErrorSource() == TError::System &&
                        e.GetErrorInfo().GetStatusCode() == grpc::StatusCode::UNKNOWN);
            ASSERT_EQ(e.GetMessages().size(), 1u); // the walker is off
            EXPECT_EQ(text(e.GetMessagesFront()), messages.at(code));
            EXPECT_TRUE(e.GetRedactedMessages().empty());
        }
        EXPECT_TRUE(it == TPathCore::iterator(path, position) && text(*it) == text(before));
    }
}

TEST(TPathCore, ExceptionStacksTheCallStackAfterTheMessageWhenTheWalkerIsOn) {
    TStackWalker::InitSym(true);
    std::unique_ptr<VelmoraException> raised;
    try {
        TPathCore().back();
    } catch (TPathCore::Exception const& e) {
        raised.reset(e.Clone());
    }
    TStackWalker::InitSym(false);
    ASSERT_TRUE(raised);
    auto const messages = raised->GetMessages();
    EXPECT_GT(messages.size(), 2u);
    EXPECT_EQ(text(messages.front()), u"TPathCore::iterator trying to decrement beyond beginning.");
    EXPECT_TRUE(std::none_of(messages.begin(), messages.end(), [](auto const& m) { return m.isEmpty(); }));
    EXPECT_TRUE(raised->GetRedactedMessages().empty());

    // Moves copy; rethrows keep the type and every message.
    TPathCore::Exception& typed = dynamic_cast<TPathCore::Exception&>(*raised);
    const TPathCore::Exception moved(std::move(typed));
    EXPECT_TRUE(typed.GetMessages() == messages && moved.GetMessages() == messages);
    EXPECT_EQ(pathFailureCode([&] { moved.Throw(); }), 0x6C884971u);
}

TEST(TPathCore, ThreadsWalkingOneSharedPathAgreeWithOneThread) {
    TPathCore shared(u"//server/share");
    for (int i = 0; i < 200; ++i)
        shared /= TStringCore::number(i) + u".d";
    const std::vector<TStringCore> expected = shared.toVector();
    std::atomic<int> mismatches{0};
    std::latch start(4);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&, t] {
            start.arrive_and_wait();
            for (int round = 0; round < 20; ++round) {
                const TPathCore copy = shared; // shares the text block
                TPathCore const& walked = (round + t) % 2 ? copy : shared;
                std::size_t i = 0;
                for (TStringCore const& element : walked)
                    mismatches += i >= expected.size() || element != expected[i++];
                mismatches += i != expected.size() || walked.size() != int(expected.size());
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(mismatches.load(), 0);
}

} // namespace
