// String search: the engines against plain reference searches on generated text (case pairs,
// surrogates paired and lone, zero units), the rules for `from` and for iterators, and what a
// search may allocate.
#include "CountingOperatorNew.h"
#include "MemoryTestSupport.h"
#include "TStringTestSupport.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <gtest/gtest.h>
#include <kestal/TStringCore.h>
#include <new>
#include <random>
#include <string>
#include <unicode/uchar.h>
#include <unicode/utf16.h>
#include <vector>

namespace {

using kestal::testing::expectRuntimeError;
using kestal::testing::t_newCalls;
using Iterator = TConstCodePointIterator<TStringCore>;
using std::u16string;
constexpr auto kSensitive = TStringCore::CaseSensitive;
constexpr auto kFolding = TStringCore::CaseInsensitive;

// ---- Reference searches ------------------------------------------------------------------------

char32_t fold(char32_t c) {
    if (c < 0x80) return c >= U'A' && c <= U'Z' ? c + 0x20 : c;
    return static_cast<char32_t>(u_foldCase(static_cast<UChar32>(c), U_FOLD_CASE_DEFAULT));
}

// The code point at i and its units; a lone surrogate is U+FFFD.
std::pair<char32_t, int> decode(u16string const& s, std::size_t i) {
    const char16_t next = i + 1 < s.size() ? s[i + 1] : 0;
    if (U16_IS_LEAD(s[i]) && U16_IS_TRAIL(next)) return {U16_GET_SUPPLEMENTARY(s[i], next), 2};
    return {U16_IS_SURROGATE(s[i]) ? 0xFFFD : s[i], 1};
}

u16string untilZero(u16string const& s) {
    return s.substr(0, s.find(u'\0'));
}

int refFind(u16string const& t, u16string const& p, int from, bool cs) {
    const int n = static_cast<int>(t.size());
    const int start = from < 0 ? n + from : from;
    if (start < 0 || start >= n) return -1;
    if (p.empty() || p[0] == 0) return start;
    auto same = [cs](char16_t a, char16_t b) { return cs ? a == b : char16_t(fold(a)) == char16_t(fold(b)); };
    auto at = std::search(t.begin() + start, t.end(), p.begin(), p.end(), same);
    return at == t.end() ? -1 : static_cast<int>(at - t.begin());
}

int refCount(u16string const& text, u16string const& pattern, bool cs) {
    const u16string t = untilZero(text), p = untilZero(pattern);
    const int m = static_cast<int>(p.size());
    const int stride = m == 0 || U16_IS_TRAIL(p[0]) ? m : U16_IS_LEAD(p[0]) ? std::min(2, m) : 1;
    int found = 0;
    for (int pos = 0, at;
         m > 0 && pos + m <= static_cast<int>(t.size()) && (at = refFind(t, p, pos, cs)) >= 0;
         pos = at + stride)
        ++found;
    return found;
}

// Backward by code points: the walk of either side steps a high surrogate by two, unseen, and
// ends at a low one or at its end; the pattern's end means a match.
int refLastIndexOf(u16string const& t, u16string const& pattern, int from, bool cs) {
    const u16string p = untilZero(pattern);
    const int n = static_cast<int>(t.size()), m = static_cast<int>(p.size());
    auto step = [](u16string const& s, std::size_t i) {
        const std::size_t units = U16_IS_TRAIL(s[i]) ? 0 : U16_IS_LEAD(s[i]) ? 2 : 1;
        return units && i + units < s.size() ? units : 0;
    };
    auto matchesAt = [&](std::size_t i) {
        for (std::size_t j = 0;; i += step(t, i), j += step(p, j)) {
            const char32_t a = decode(t, i).first, b = decode(p, j).first;
            if (a != b && (cs || fold(a) != fold(b))) return false;
            if (!step(p, j)) return true;
            if (!step(t, i)) return false;
        }
    };
    const int start = from == -1 ? n : from < -1 ? n + from : from;
    for (int i = std::min(start, n - m); m > 0 && i >= 0; --i)
        if (!U16_IS_TRAIL(t[i]) && matchesAt(i)) return i;
    return -1;
}

// The set search: a set whose units before its first zero are all ASCII matches units; any other
// matches code points over `setSize` units.
int refFindOneOf(u16string const& t, u16string const& set, int setSize, int from) {
    const u16string head = untilZero(set);
    const bool ascii = std::all_of(head.begin(), head.end(), [](char16_t u) { return u < 0x80; });
    std::u32string members;
    for (int j = 0; j < setSize; j += decode(set, j).second)
        members += decode(set, j).first;
    for (int i = std::max(from, 0); from >= 0 && !head.empty() && i < static_cast<int>(t.size());
         i += ascii ? 1 : decode(t, i).second)
        if (ascii ? head.find(t[i]) != u16string::npos
                  : members.find(decode(t, i).first) != std::u32string::npos)
            return i;
    return -1;
}

int refFindOneNotOf(u16string const& t, u16string const& set, int from) {
    std::u32string members;
    for (std::size_t j = 0; j < set.size(); j += decode(set, j).second)
        members += decode(set, j).first;
    for (int i = std::max(from, 0); from >= 0 && i < static_cast<int>(t.size()); i += decode(t, i).second)
        if (members.find(decode(t, i).first) == std::u32string::npos) return i;
    return -1;
}

// ---- Generated text ----------------------------------------------------------------------------

// Case pairs in ASCII, Greek (three sigmas fold together) and full width; the Kelvin sign, which
// folds into ASCII; surrogates; the zero unit; U+FFFD, which lone surrogates stand for.
constexpr char16_t kAlphabet[] = {u'a',  u'A',   u'b',   u'B',   u'K',   0x212A, 0x3A3, 0x3C3,
                                  0x3C2, 0xFF21, 0xFF41, 0xD801, 0xDC00, 0xDC28, 0,     0xFFFD};

struct Generator {
    std::mt19937 random{20240611};
    int uniform(int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(random); }

    // A few letters of the alphabet, so that matches and false candidates abound.
    u16string text(int maxLength) {
        char16_t letters[4];
        for (char16_t& c : letters)
            c = kAlphabet[uniform(0, std::size(kAlphabet) - 1)];
        u16string s(uniform(0, uniform(0, 1) ? 12 : maxLength), u'\0');
        for (char16_t& c : s)
            c = letters[uniform(0, 3)];
        return s;
    }
    // Mostly a piece of the text, sometimes with one unit changed, sometimes unrelated.
    u16string pattern(u16string const& t, int maxLength) {
        if (t.empty() || uniform(0, 3) == 0) return text(maxLength).substr(0, maxLength);
        u16string p = t.substr(uniform(0, static_cast<int>(t.size()) - 1), uniform(1, maxLength));
        if (uniform(0, 2) == 0) p[uniform(0, static_cast<int>(p.size()) - 1)] ^= 0x20;
        return p;
    }
    int from(int size) { return uniform(-size - 2, size + 2); }
};

int asIndex(std::size_t at) {
    return at == u16string::npos ? -1 : static_cast<int>(at);
}

TStringCore core(u16string const& s) {
    return TStringCore(s.data(), static_cast<int>(s.size()));
}

std::string trace(int i, u16string const& t, u16string const& p, int from) {
    std::string out = "case " + std::to_string(i) + " from " + std::to_string(from) + ":";
    for (char16_t u : t + u"|" + p)
        out += " " + std::to_string(u);
    return out;
}

} // namespace

// ---- Generated cases ---------------------------------------------------------------------------

TEST(TStringSearch, ForwardSearchesMatchThePlainSearch) {
    Generator g;
    for (int i = 0; i < 40000; ++i) {
        const u16string t = g.text(i % 8 == 0 ? 300 : 60), p = g.pattern(t, i % 8 == 0 ? 20 : 6);
        const int n = static_cast<int>(t.size()), from = g.from(n);
        const auto cs = g.uniform(0, 1) ? kSensitive : kFolding;
        const bool sensitive = cs == kSensitive;
        const TStringCore s = core(t);
        SCOPED_TRACE(trace(i, t, p, from) + (sensitive ? " sensitive" : " folding"));
        ASSERT_EQ(TStringCore::findStr(t.data(), n, p.data(), static_cast<int>(p.size()), from, cs),
                  refFind(t, p, from, sensitive));
        ASSERT_EQ(s.indexOf(core(p), from, cs), refFind(t, untilZero(p), from, sensitive));
        ASSERT_EQ(s.contains(core(p), cs), refFind(t, p, 0, sensitive) >= 0);
        ASSERT_EQ(s.contains(p.c_str(), cs), refFind(untilZero(t), untilZero(p), 0, sensitive) >= 0);
        ASSERT_EQ(s.count(core(p), cs), refCount(t, p, sensitive));
        ASSERT_EQ(s.count(p[0]), std::count(t.begin(), t.end(), p[0]));
        const int start = from < 0 ? n + from : from;
        ASSERT_EQ(s.indexOf(p[0], from), start < 0 || start >= n ? -1 : asIndex(t.find(p[0], start)));
    }
}

TEST(TStringSearch, BackwardSearchesMatchThePlainSearch) {
    Generator g;
    for (int i = 0; i < 20000; ++i) {
        const u16string t = g.text(40), p = g.pattern(t, 5);
        const int n = static_cast<int>(t.size()), from = g.from(n);
        const auto cs = g.uniform(0, 1) ? kSensitive : kFolding;
        SCOPED_TRACE(trace(i, t, p, from));
        ASSERT_EQ(core(t).lastIndexOf(core(p), from, cs), refLastIndexOf(t, p, from, cs == kSensitive));
        // The unit form reads the terminator when it starts at the size.
        const u16string withTerminator = t + u'\0';
        const int start = from == -1 ? n : from < -1 ? n + from : std::min(from, n);
        ASSERT_EQ(core(t).lastIndexOf(p[0], from),
                  start < 0 ? -1 : asIndex(withTerminator.rfind(p[0], start)));
    }
}

TEST(TStringSearch, SetSearchesMatchThePlainSearch) {
    Generator g;
    for (int i = 0; i < 30000; ++i) {
        const u16string t = g.text(40), set = g.pattern(t, 4);
        const int n = static_cast<int>(t.size()), from = g.from(n);
        const int measured = static_cast<int>(untilZero(set).size());
        const TStringCore s = core(t), setString = core(set);
        SCOPED_TRACE(trace(i, t, set, from));
        ASSERT_EQ(s.findOneOf(setString, from), refFindOneOf(t, set, measured, from));
        ASSERT_EQ(TStringCore::findOneOf(untilZero(t).c_str(), set.c_str(), from),
                  refFindOneOf(untilZero(t), set, measured, from));
        ASSERT_EQ(TStringCore::findChar(untilZero(t).c_str(), set[0], from),
                  refFindOneOf(untilZero(t), set.substr(0, 1), 1, from));
        ASSERT_EQ(s.findOneNotOf(setString, from), refFindOneNotOf(t, set, from));
        ASSERT_EQ(s.findOneNotOf(set[0], from), from < 0 ? -1 : asIndex(t.find_first_not_of(set[0], from)));
        if (from >= 0 && from < n && !U16_IS_TRAIL(t[from])) {
            // The iterator form takes the set's size; a find on a low surrogate raises.
            const int expected = refFindOneOf(t, set, static_cast<int>(set.size()), from);
            const Iterator start = Iterator::createFromIndex(s, from);
            if (expected >= 0 && U16_IS_TRAIL(t[expected]))
                ASSERT_THROW((void)s.findOneOf(setString, start), std::runtime_error);
            else
                ASSERT_EQ(s.findOneOf(setString, start).position(), expected);
        }
    }
}

// ---- Rules and edges ---------------------------------------------------------------------------

TEST(TStringSearch, FindStrEdgesAndEngines) {
    const char16_t* abc = u"abc";
    EXPECT_EQ(TStringCore::findStr(nullptr, u""), -1);
    EXPECT_EQ(TStringCore::findStr(nullptr, 3, u"a", 1, 0, kSensitive), -1);
    // The core measures nothing: a negative size finds nothing, a zero size differs by engine.
    EXPECT_EQ(TStringCore::findStr(abc, 3, u"a", -1, 0, kFolding), -1);
    EXPECT_EQ(TStringCore::findStr(abc, -1, u"a", 1, INT_MIN, kSensitive), -1);
    EXPECT_EQ(TStringCore::findStr(abc, 3, u"abcd", INT_MAX, 0, kFolding), -1); // longer than the text
    EXPECT_EQ(TStringCore::findStr(abc, 3, u"b", 0, 0, kSensitive), 0);
    EXPECT_EQ(TStringCore::findStr(abc, 3, u"b", 0, 0, kFolding), -1);
    EXPECT_EQ(TStringCore::findStr(u"xABC", u"bc", 0, static_cast<TStringCore::CaseSensitivity>(7)), 2);
    for (int n = 2; n < 40; ++n) { // the terminator is never read as text, in the blocks or after
        const u16string t = u16string(n - 1, u'a') + u"b";
        EXPECT_EQ(TStringCore::findStr(t.c_str(), n, u"b\0", 2, 0, kSensitive), -1) << n;
    }

    // False candidates at 0 and 2 end in b and move on by two; a skip never passes a match.
    EXPECT_EQ(TStringCore(u"aabbabab").indexOf(u"abab"), 4);
    EXPECT_EQ(TStringCore(u"xxxxxxxxxxabcxabcd").indexOf(u"abcd"), 14);

    // Folding is KMP: linear on runs of one letter, where a quadratic search would take minutes.
    const TStringCore run = core(u16string(1 << 21, u'a'));
    u16string needle(2048, u'A');
    EXPECT_EQ(run.indexOf(needle.c_str(), 5, kFolding), 5);
    needle.back() = u'B';
    EXPECT_EQ(run.indexOf(needle.c_str(), 0, kFolding), -1);
    EXPECT_EQ(TStringCore(u"stra\u00DFe").indexOf(u"SS", 0, kFolding), -1); // one unit never meets two
}

TEST(TStringSearch, BackwardByCodePoints) {
    const TStringCore s(u"ab\U0001F600cd\U0001F600xy");
    EXPECT_EQ(s.lastIndexOf(u"\U0001F600xy", 9), 6); // cut to where the pattern still fits

    const TStringCore t(u"abcabc");
    const Iterator found = t.findLast(TStringCore(u"bc"), Iterator(t, 4));
    EXPECT_EQ(std::pair(found.position(), found.index()), std::pair(1, 1)); // keeps from's number
    EXPECT_EQ(t.findLast(TStringCore(u"bc")).position(), 4);
    EXPECT_EQ(t.findLast(TStringCore(u"BCA"), kFolding).position(), 1);
    EXPECT_EQ(t.findLast(TStringCore(u"abca")).index(), 0); // the start makes the number known
    EXPECT_TRUE(t.findLast(TStringCore(u"a"), t.codepoint_cbegin()).isEnd());
    EXPECT_EQ(t.findLast(TStringCore(u"ab"), Iterator(t, 4)).position(), 3); // from is a match's last
    EXPECT_TRUE(t.findLast(TStringCore()).isEnd());
    EXPECT_EQ(TStringCore(u"\U0001F600a\U0001F600").findLast(TStringCore(u"\U0001F600a")).position(), 0);

    // The unit form: nothing from the first code point, though unit 0 is the one looked for.
    EXPECT_TRUE(t.findLast(u'a', t.codepoint_cbegin()).isEnd());
    EXPECT_EQ(t.findLast(u'a', Iterator(t, 3)).position(), 3);
    const char16_t zero[] = {u'a', 0, u'b'};
    EXPECT_TRUE(TStringCore(zero, 3).findLast(char16_t{0}).isEnd()); // found the terminator: the end
    EXPECT_TRUE(TStringCore().findLast(u'a').isEnd());

    const TStringCore other(u"abcabc"); // equal text, another string
    const std::string foreign = "operator== iterators do not reference the same underlying string.";
    expectRuntimeError([&] { (void)t.findLast(u'a', other.codepoint_cend()); }, foreign);
    expectRuntimeError([&] { (void)t.findLast(TStringCore(u"a"), Iterator(other, 2)); }, foreign);
    const TStringCore shared = core(u"abcabcabcabcabcabc"), copy = shared; // sharing a block is the same
    EXPECT_EQ(shared.findLast(u'b', Iterator(copy, 3)).position(), 1);
}

TEST(TStringSearch, IteratorFormsStartAtTheirPosition) {
    const TStringCore s(u"xaxa");
    EXPECT_EQ(s.find(u'a', s.codepoint_cend()).position(), 3); // the end: the last unit only
    EXPECT_TRUE(s.find(u'x', s.codepoint_cend()).isEnd());
    EXPECT_TRUE(s.find(u"xa", s.codepoint_cend()).isEnd());
    EXPECT_EQ(s.find(u"XA", Iterator(s, 1), kFolding).position(), 2);
    EXPECT_EQ(s.find(u'x').index(), 0);
    EXPECT_EQ(s.find(u"a").index(), -1); // the number is not counted
    EXPECT_TRUE(s.findOneOf(u"a", s.codepoint_cend()).isEnd());

    // A low surrogate inside a pair: found as an index, refused as an iterator.
    const TStringCore pair(u"a\U0001F600");
    EXPECT_EQ(pair.indexOf(char16_t{0xDE00}), 2);
    const std::string inside =
        "TStringCore::createFromIndex codeUnitIndex does not reference the begining of a code point.";
    expectRuntimeError([&] { (void)pair.find(char16_t{0xDE00}); }, inside);
    expectRuntimeError([&] { (void)pair.find(u"\xDE00"); }, inside);
}

TEST(TStringSearch, SetEnginesAndTheirEnds) {
    // ASCII sets step by units, others by code points, a pair matching whole and halves not.
    const TStringCore s(u"\U0001F600a\U0001F601b");
    EXPECT_EQ(s.findOneOf(u"ba"), 2);
    EXPECT_EQ(s.findOneOf(u"\U0001F601"), 3);
    EXPECT_EQ(s.findOneOf(u"\xDE01"), -1);
    // A lone surrogate in the set stands for U+FFFD: it meets any lone surrogate, and U+FFFD.
    EXPECT_EQ(TStringCore::findChar(u"ab\xDC05\xFFFD", 0xDB00, 3), 3);
    // Units after a zero in the set do not choose the engine, but the wide one takes them.
    const char16_t wide[] = {0xE8, 0, 0xE9};
    const TStringCore target(u"\u00E9x");
    EXPECT_EQ(target.findOneOf(TStringCore(wide, 3), target.codepoint_cbegin()).position(), 0);
    EXPECT_EQ(target.findOneOf(TStringCore(wide, 3)), -1);

    EXPECT_EQ(TStringCore::findOneNotOf(u"aaaa", u"a", 0), 4); // one unit: the terminator's index
    EXPECT_EQ(TStringCore::findOneNotOf(u"aaaa", u"ab", 0), -1);
    EXPECT_EQ(TStringCore::findOneNotOf(u"abcab", u"ab", 1), 2);
    EXPECT_EQ(TStringCore::findOneNotOf(u"abc", u"", 1), 1);
    EXPECT_EQ(TStringCore::findOneNotOf(u"abc", u"x", 3), -1);
    EXPECT_EQ(TStringCore::findOneNotOf(u"\U0001F600\U0001F600x", u"\U0001F600", 0), 4);
    EXPECT_EQ(TStringCore::findOneNotOf(u"aa", u'a'), 2);
    EXPECT_EQ(TStringCore::findOneNotOf(u"aa", char16_t{0}), 0);
    EXPECT_EQ(TStringCore::findOneNotOf(u"", char16_t{0}), -1);
}

TEST(TStringSearch, StartsAndEndsCompareHeadAndTail) {
    const TStringCore s(u"Hello World");
    EXPECT_TRUE(s.startsWith(u"hello", kFolding));
    EXPECT_FALSE(s.startsWith(u"hello"));
    EXPECT_TRUE(s.endsWith(TStringCore(u"WORLD"), kFolding));
    EXPECT_FALSE(s.endsWith(u"xHello World"));
    EXPECT_FALSE(s.startsWith(u""));
    EXPECT_FALSE(TStringCore().startsWith(TStringCore()));
    EXPECT_FALSE(TStringCore().endsWith(char16_t{0}));
    EXPECT_TRUE(TStringCore(u"x\u00C4").endsWith(u"\u00E4", kFolding)); // per unit
}

// ---- Cost --------------------------------------------------------------------------

TEST(TStringSearch, OnlyFoldingAllocatesAndNothingDetaches) {
    const TStringCore s = core(u"The quick brown fox jumps over the lazy dog \U0001F600 \u00E9t\u00E9");
    const TStringCore owner = s, pattern(u"lazy dog");
    kestal::testing::ScopedCounting counting(velmora::memory::MemoryTrackingMode::AllocationsAndFrees);
    const int before = t_newCalls;
    int sink = s.indexOf(u"fox") + s.indexOf(pattern, 3) + s.indexOf(u'z') + s.lastIndexOf(u'o');
    sink += s.count(u"o") + s.count(u'o') + s.contains(pattern) + s.lastIndexOf(u"the");
    sink += s.find(u"quick").position() + s.findLast(pattern).position() + s.findLast(u'e').position();
    sink += s.findOneOf(u"xyz") + s.findOneOf(pattern, s.codepoint_cbegin()).position();
    sink += s.findOneNotOf(u"Th") + s.findOneNotOf(u'T') + s.startsWith(u"the") + s.endsWith(pattern);
    const int sensitiveCalls = t_newCalls - before;
    EXPECT_NE(sink, 0);
    EXPECT_EQ(sensitiveCalls, 0);
    EXPECT_EQ(counting.events(), std::pair(0u, 0u));

    // The folding search makes exactly its prefix table; a non-ASCII set makes nothing.
    const int folded = s.indexOf(u"LAZY", 0, kFolding);
    const int foldingCalls = t_newCalls - before;
    const int wide = s.findOneOf(u"\u00E9");
    EXPECT_EQ(std::pair(folded, foldingCalls), std::pair(35, 1));
    EXPECT_EQ(std::pair(wide, t_newCalls - before), std::pair(47, 1));
    EXPECT_TRUE(s.isShared()); // reading never detaches
}
