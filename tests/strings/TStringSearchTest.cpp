// String search: the engines against plain reference searches on generated text (case pairs,
// surrogates paired and lone, zero units), the rules for `from` and for iterators, and what a
// search may allocate.
#include "CountingOperatorNew.h"
#include "MemoryTestSupport.h"
#include "TStringTestSupport.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <new>
#include <random>
#include <unicode/uchar.h>
#include <unicode/utf16.h>

namespace {

using namespace kestal::testing;
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

std::u32string codePoints(u16string const& set, std::size_t size) {
    std::u32string members;
    for (std::size_t j = 0; j < size; j += decode(set, j).second)
        members += decode(set, j).first;
    return members;
}

// The set search: a set whose units before its first zero are all ASCII matches units; any other
// matches code points over `setSize` units.
int refFindOneOf(u16string const& t, u16string const& set, int setSize, int from) {
    const u16string head = untilZero(set);
    const bool ascii = std::all_of(head.begin(), head.end(), [](char16_t u) { return u < 0x80; });
    const std::u32string members = codePoints(set, setSize);
    for (int i = std::max(from, 0); from >= 0 && !head.empty() && i < static_cast<int>(t.size());
         i += ascii ? 1 : decode(t, i).second)
        if (ascii ? head.find(t[i]) != u16string::npos
                  : members.find(decode(t, i).first) != std::u32string::npos)
            return i;
    return -1;
}

int refFindOneNotOf(u16string const& t, u16string const& set, int from) {
    const std::u32string members = codePoints(set, set.size());
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

} // namespace

// ---- Generated cases ---------------------------------------------------------------------------

TEST(TStringSearch, SearchesMatchThePlainSearchesOnGeneratedText) {
    Generator g;
    for (int i = 0; i < 40000; ++i) {
        SCOPED_TRACE(i); // the generator is seeded: the case number reproduces the inputs
        const u16string t = g.text(i % 8 == 0 ? 300 : 60), p = g.pattern(t, i % 8 == 0 ? 20 : 6);
        const int n = static_cast<int>(t.size()), from = g.from(n),
                  measured = static_cast<int>(untilZero(p).size());
        const bool sensitive = g.uniform(0, 1);
        const auto cs = sensitive ? kSensitive : kFolding;
        const TStringCore s = core(t), pattern = core(p);
        ASSERT_EQ(TStringCore::findStr(t.data(), n, p.data(), static_cast<int>(p.size()), from, cs),
                  refFind(t, p, from, sensitive));
        ASSERT_EQ(s.indexOf(pattern, from, cs), refFind(t, untilZero(p), from, sensitive));
        ASSERT_EQ(s.contains(pattern, cs), refFind(t, p, 0, sensitive) >= 0);
        ASSERT_EQ(s.contains(p.c_str(), cs), refFind(untilZero(t), untilZero(p), 0, sensitive) >= 0);
        ASSERT_EQ(s.count(pattern, cs), refCount(t, p, sensitive));
        ASSERT_EQ(s.count(p[0]), std::count(t.begin(), t.end(), p[0]));
        const int start = from < 0 ? n + from : from;
        ASSERT_EQ(s.indexOf(p[0], from), start < 0 || start >= n ? -1 : asIndex(t.find(p[0], start)));

        // Backward; the unit form reads the terminator when it starts at the size.
        ASSERT_EQ(s.lastIndexOf(pattern, from, cs), refLastIndexOf(t, p, from, sensitive));
        const int back = from == -1 ? n : from < -1 ? n + from : std::min(from, n);
        ASSERT_EQ(s.lastIndexOf(p[0], from), back < 0 ? -1 : asIndex((t + u'\0').rfind(p[0], back)));

        // Sets.
        ASSERT_EQ(s.findOneOf(pattern, from), refFindOneOf(t, p, measured, from));
        ASSERT_EQ(TStringCore::findOneOf(untilZero(t).c_str(), p.c_str(), from),
                  refFindOneOf(untilZero(t), p, measured, from));
        ASSERT_EQ(TStringCore::findChar(untilZero(t).c_str(), p[0], from),
                  refFindOneOf(untilZero(t), p.substr(0, 1), 1, from));
        ASSERT_EQ(s.findOneNotOf(pattern, from), refFindOneNotOf(t, p, from));
        ASSERT_EQ(s.findOneNotOf(p[0], from), from < 0 ? -1 : asIndex(t.find_first_not_of(p[0], from)));
        if (from >= 0 && from < n && !U16_IS_TRAIL(t[from])) {
            // The iterator form takes the set's size; a find on a low surrogate raises.
            const int expected = refFindOneOf(t, p, static_cast<int>(p.size()), from);
            const Iterator at = Iterator::createFromIndex(s, from);
            if (expected >= 0 && U16_IS_TRAIL(t[expected]))
                ASSERT_THROW((void)s.findOneOf(pattern, at), std::runtime_error);
            else
                ASSERT_EQ(s.findOneOf(pattern, at).position(), expected);
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

    // Folding is KMP: linear on runs of one letter, where a quadratic search would take minutes.
    const TStringCore run = core(u16string(1 << 21, u'a'));
    u16string needle(2048, u'A');
    EXPECT_EQ(run.indexOf(needle.c_str(), 5, kFolding), 5);
    needle.back() = u'B';
    EXPECT_EQ(run.indexOf(needle.c_str(), 0, kFolding), -1);
    EXPECT_EQ(TStringCore(u"stra\u00DFe").indexOf(u"SS", 0, kFolding), -1); // one unit never meets two

    // The set forms over measured texts: a one-unit set or a unit reads the terminator as the
    // first unit outside the set.
    const std::tuple<char16_t const*, char16_t const*, int, int> notOf[] = {
        {u"aaaa", u"a", 0, 4}, {u"aaaa", u"ab", 0, -1}, {u"abcab", u"ab", 1, 2},
        {u"abc", u"", 1, 1},   {u"abc", u"x", 3, -1},   {u"\U0001F600\U0001F600x", u"\U0001F600", 0, 4}};
    for (auto [text, set, from, expected] : notOf)
        EXPECT_EQ(TStringCore::findOneNotOf(text, set, from), expected);
    EXPECT_EQ(std::tuple(TStringCore::findOneNotOf(u"aa", u'a'),
                         TStringCore::findOneNotOf(u"aa", char16_t{0}),
                         TStringCore::findOneNotOf(u"", char16_t{0})),
              std::tuple(2, 0, -1));
}

// The iterator forms: the walk starts at the iterator, and the result keeps a code point number
// only where it is known.
TEST(TStringSearch, IteratorFormsStartAtTheirPosition) {
    const TStringCore t(u"abcabc");
    const Iterator found = t.findLast(TStringCore(u"bc"), Iterator(t, 4));
    EXPECT_EQ(std::pair(found.position(), found.index()), std::pair(1, 1)); // keeps from's number
    EXPECT_EQ(t.findLast(TStringCore(u"abca")).index(), 0); // the start makes the number known
    EXPECT_TRUE(t.findLast(TStringCore(u"a"), t.codepoint_cbegin()).isEnd());
    EXPECT_EQ(t.findLast(TStringCore(u"ab"), Iterator(t, 4)).position(), 3); // from is a match's last
    // The unit form: nothing from the first code point, though unit 0 is the one looked for.
    EXPECT_TRUE(t.findLast(u'a', t.codepoint_cbegin()).isEnd());
    EXPECT_EQ(t.findLast(u'a', Iterator(t, 3)).position(), 3);
    const char16_t zero[] = {u'a', 0, u'b'};
    EXPECT_TRUE(TStringCore(zero, 3).findLast(char16_t{0}).isEnd()); // found the terminator: the end

    const TStringCore other(u"abcabc"); // equal text, another string
    const std::string foreign = "operator== iterators do not reference the same underlying string.";
    expectRuntimeError([&] { (void)t.findLast(u'a', other.codepoint_cend()); }, foreign);
    expectRuntimeError([&] { (void)t.findLast(TStringCore(u"a"), Iterator(other, 2)); }, foreign);

    const TStringCore s(u"xaxa");
    EXPECT_EQ(s.find(u'a', s.codepoint_cend()).position(), 3); // the end: the last unit only
    EXPECT_TRUE(s.find(u'x', s.codepoint_cend()).isEnd() && s.find(u"xa", s.codepoint_cend()).isEnd() &&
                s.findOneOf(u"a", s.codepoint_cend()).isEnd());
    EXPECT_EQ(s.find(u"XA", Iterator(s, 1), kFolding).position(), 2);
    EXPECT_EQ(std::pair(s.find(u'x').index(), s.find(u"a").index()),
              std::pair(0, -1)); // a text's is not counted

    // A low surrogate inside a pair: found as an index, refused as an iterator.
    const TStringCore pair(u"a\U0001F600");
    EXPECT_EQ(pair.indexOf(char16_t{0xDE00}), 2);
    const std::string inside =
        "TStringCore::createFromIndex codeUnitIndex does not reference the begining of a code point.";
    expectRuntimeError([&] { (void)pair.find(char16_t{0xDE00}); }, inside);
    expectRuntimeError([&] { (void)pair.find(u"\xDE00"); }, inside);
}

TEST(TStringSearch, StartsAndEndsCompareHeadAndTail) {
    // Folding is per unit; an empty head or tail is never found.
    const TStringCore s(u"Hello World");
    EXPECT_TRUE(s.startsWith(u"hello", kFolding) && s.endsWith(TStringCore(u"WORLD"), kFolding) &&
                TStringCore(u"x\u00C4").endsWith(u"\u00E4", kFolding));
    EXPECT_FALSE(s.startsWith(u"hello") || s.endsWith(u"xHello World") || s.startsWith(u"") ||
                 TStringCore().startsWith(TStringCore()) || TStringCore().endsWith(char16_t{0}));
}

// ---- Cost --------------------------------------------------------------------------

TEST(TStringSearch, OnlyFoldingAllocatesAndNothingDetaches) {
    const TStringCore s = core(u"The quick brown fox jumps over the lazy dog \U0001F600 \u00E9t\u00E9");
    const TStringCore owner = s, pattern(u"lazy dog");
    ScopedCounting counting(velmora::memory::MemoryTrackingMode::AllocationsAndFrees);
    const int before = t_newCalls;
    int sink = s.indexOf(u"fox") + s.indexOf(pattern, 3) + s.indexOf(u'z') + s.lastIndexOf(u'o');
    sink += s.count(u"o") + s.count(u'o') + s.contains(pattern) + s.lastIndexOf(u"the");
    sink += s.find(u"quick").position() + s.findLast(pattern).position() + s.findLast(u'e').position();
    sink += s.findOneOf(u"xyz") + s.findOneOf(pattern, s.codepoint_cbegin()).position();
    sink += s.findOneNotOf(u"Th") + s.findOneNotOf(u'T') + s.startsWith(u"the") + s.endsWith(pattern);
    EXPECT_EQ(std::tuple(sink != 0, t_newCalls - before, counting.events()),
              std::tuple(true, 0, std::pair(0u, 0u)));

    // The folding search makes exactly its prefix table; a non-ASCII set makes nothing.
    const int folded = s.indexOf(u"LAZY", 0, kFolding);
    EXPECT_EQ(std::pair(folded, t_newCalls - before), std::pair(35, 1));
    const int wide = s.findOneOf(u"\u00E9");
    EXPECT_EQ(std::pair(wide, t_newCalls - before), std::pair(47, 1));
    EXPECT_TRUE(s.isShared()); // reading never detaches
}
