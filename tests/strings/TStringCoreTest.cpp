// TStringCore in code units: construction, element access, comparison and editing by position,
// with a randomized comparison of editing against a plain std::u16string model.
#include "TStringTestSupport.h"

#include <algorithm>
#include <array>
#include <climits>
#include <functional>
#include <random>
#include <tuple>
#include <unicode/uchar.h>
#include <utility>

namespace {

using namespace kestal::testing;
using Exception = TStringCore::Exception;
constexpr auto kFold = TStringCore::CaseInsensitive;

// A string that holds the text at its capacity limit, so that any growth of a long text
// reallocates, or one with room to spare. Never shared.
TStringCore sample(char16_t const* units, bool roomy = false) {
    TStringCore s(units);
    roomy ? s.reserve(100) : s.squeeze();
    return s;
}

TEST(TStringCore, ConstructionCopiesExactlyTheGivenUnits) {
    EXPECT_TRUE(TStringCore(nullptr, 5).isEmpty() && TStringCore(u"abc", 0).isEmpty());
    EXPECT_EQ(text(TStringCore(u"ab\0cd", 5)), std::u16string(u"ab\0cd", 5));
    EXPECT_EQ(TStringCore(u"ab\0cd").size(), 2);
    EXPECT_EQ(TStringCore::length(nullptr), 0);
}

TEST(TStringCore, ElementAccessAllowsTheTerminatorAndNothingBeyond) {
    // Each accessor, with what its message names it.
    using Access = char16_t (*)(TStringCore&, int);
    const std::pair<Access, std::u16string> accessors[] = {
        {[](TStringCore& s, int i) { return s[i]; }, u"operator[int]"},
        {[](TStringCore& s, int i) { return std::as_const(s)[i]; }, u"operator[int] const"},
        {[](TStringCore& s, int i) { return s[static_cast<unsigned long>(i)]; }, u"operator[size_type]"},
        {[](TStringCore& s, int i) { return std::as_const(s)[static_cast<unsigned long>(i)]; },
         u"operator[size_type] const"},
        {[](TStringCore& s, int i) { return s.at(i); }, u"at(int):"}};
    TStringCore s(u"abc");
    for (auto const& accessor : accessors) {
        const Access read = accessor.first;
        const std::u16string message = u"TStringCore::" + accessor.second + u" argument out of range.";
        EXPECT_EQ(read(s, 3), 0); // the terminator
        for (int index : {-1, 4})
            expectStringException<Exception>([&] { read(s, index); }, message.c_str());
    }
}

TEST(TStringCore, ComparisonIsUnsignedUnitOrderStoppingAtTheFirstZero) {
    const TStringCore abx(u"ab\0x", 4), aby(u"ab\0y", 4), ab(u"ab");
    EXPECT_TRUE(abx == aby && abx == u"ab"); // equal sizes, equal up to the zero
    EXPECT_FALSE(ab == abx);                 // == tests sizes first; compare and the order operators do not
    EXPECT_FALSE(ab.compare(abx) != 0 || ab < abx || ab > abx);
    constexpr char16_t const* null = nullptr;
    EXPECT_TRUE(TStringCore() == null && ab > null && null < ab);
    EXPECT_TRUE(TStringCore(u"\U00010000") < TStringCore(u"\uE000")); // surrogates sort below U+E000
    EXPECT_EQ(std::tuple(TStringCore::compare(nullptr, u""), TStringCore(u"z").compare(u"a"),
                         TStringCore(u"ab").compare(u"abc")),
              std::tuple(0, 1, -1));

    // compareN: a negative count is no limit; a common zero ends the walk.
    const std::tuple<char16_t const*, char16_t const*, int, int> cases[] = {
        {u"abcX", u"abcY", 3, 0},   {u"abcX", u"abcY", -1, -1}, {u"x", u"y", 0, 0},
        {u"ab\0x", u"ab\0y", 4, 0}, {nullptr, u"a", 1, -1},     {nullptr, u"", 1, 0},
        {u"a", nullptr, 1, 1}};
    for (auto [a, b, n, expected] : cases)
        EXPECT_EQ(TStringCore::compareN(a, b, n), expected) << n;
    EXPECT_EQ(TStringCore::compareN(u"ABCx", u"abcy", 3, kFold), 0);
}

TEST(TStringCore, CaseInsensitiveComparisonFoldsUnitByUnit) {
    EXPECT_NE(TStringCore(u"\u00DF").compare(u"SS", kFold), 0);             // folding never expands
    EXPECT_NE(TStringCore(u"\U00010400").compare(u"\U00010428", kFold), 0); // surrogates fold to themselves
    EXPECT_EQ(TStringCore(u"A").compare(u"b", static_cast<TStringCore::CaseSensitivity>(7)), -1);

    // Against ICU's simple folding over the whole BMP and each unit's case variants.
    auto fold = [](UChar32 c) { return static_cast<char16_t>(u_foldCase(c, U_FOLD_CASE_DEFAULT)); };
    for (UChar32 c = 1; c < 0x10000; ++c) {
        for (UChar32 variant : {u_toupper(c), u_tolower(c), u_totitle(c), c + 1}) {
            if (variant == 0 || variant > 0xFFFF) continue;
            const char16_t a[] = {static_cast<char16_t>(c), 0}, b[] = {static_cast<char16_t>(variant), 0};
            const int expected =
                (a[0] == b[0] || fold(c) == fold(variant)) ? 0 : (fold(c) < fold(variant) ? -1 : 1);
            ASSERT_EQ(TStringCore::compare(a, b, kFold), expected) << std::hex << c << " " << variant;
        }
    }
}

// Edits whose text lies in the string itself; pieces of it at random are in the model below, here
// the quirks of where the units are read from and the end of int.
TEST(TStringCore, EditsFromItsOwnTextReadTheRightUnits) {
    TStringCore s = sample(u"abcdef");
    s.appendFromSelf(1, 2).appendFromSelf(6, -1).appendFromSelf(-1, 2).append(s);
    EXPECT_EQ(text(s), u"abcdefbcbcabcdefbcbc");
    s = sample(u"abcdefgh"); // a length near INT_MAX is cut to the text, not summed past int
    s.append(s.constData() + 1, INT_MAX);
    EXPECT_EQ(text(s), u"abcdefghbcdefgh");
    s = TStringCore(u"abcdefgh");
    s.assign(s.constData() + 1, INT_MAX);
    EXPECT_EQ(text(s), u"bcdefgh");
    EXPECT_EQ(text(s.set(s.constData() + 2, 9)), u"defgh");

    // Insert and the middle form of replace read the shifted units at or behind pos, with or
    // without a reallocation.
    for (bool roomy : {false, true}) {
        TStringCore t = sample(u"abcdefghijklmnop", roomy), r = sample(u"abcdefghijklmnop", roomy);
        t.insert(1, t.constData() + 2, 2);
        r.replace(1, 1, r.constData() + 3, 3);
        EXPECT_EQ(text(t) + u"|" + text(r), u"acbbcdefghijklmnop|adcdcdefghijklmnop");
    }
    s = sample(u"abcdefghijklmnop");
    s.insert(4, s.constData() + 1, 2).prepend(s);
    EXPECT_EQ(text(s), u"abcdbcefghijklmnopabcdbcefghijklmnop");

    // Whole and tail forms of replace read their text before they write.
    s = TStringCore(u"abcdef");
    EXPECT_EQ(text(s.replace(2, 100, s.constData(), -1)), u"abab");
    EXPECT_EQ(text(s.replace(0, 4, s.constData() + 1, 2)), u"ba");
    // The tail form cuts first, so a text from behind pos lies beyond the terminator and is
    // appended as an outside text: the terminator of the new size lands in it, unless the string
    // was shared and the text still sits unchanged in the other owner's block.
    s = TStringCore(u"abcdefgh");
    s.replace(2, 6, s.constData() + 3, 3);
    EXPECT_EQ(text(s), std::u16string(u"abde\0", 5));
    TStringCore shared = letters(20), owner = shared;
    shared.replace(2, 18, shared.constData() + 3, 3);
    EXPECT_EQ(text(shared), u"abdef");
}

TEST(TStringCore, EditsByPositionAtTheEndsOfInt) {
    // A count that a negative pos eats below 1, or a sum that passes the end.
    const std::tuple<int, int, char16_t const*> removals[] = {
        {-5, INT_MIN, u"abcdefg"}, {INT_MIN, INT_MAX, u"abcdefg"},
        {-1, INT_MAX, u""},        {INT_MAX, 1, u"abcdefg"},
        {2, INT_MAX, u"ab"},
    };
    for (auto [pos, count, left] : removals)
        EXPECT_EQ(text(TStringCore(u"abcdefg").removeAt(pos, count)), left) << pos << " " << count;
    // Null texts and counts below zero change nothing.
    TStringCore s(u"ab");
    EXPECT_EQ(text(s.insert(1, nullptr).replace(1, 1, nullptr, 3)), u"ab");
    s.assign('\xE9', 2); // widened without sign
    s.assign(u'x', -1);
    EXPECT_EQ(text(s), u"\u00E9\u00E9");
}

TEST(TStringCore, SubstringsShareWhenTheyAreTheWholeString) {
    const TStringCore s = letters(20);
    EXPECT_TRUE(s.mid(0, -1).isShared() && s.left(20).isShared() && s.right(25).isShared());
    EXPECT_FALSE(s.left(19).isShared());
    EXPECT_TRUE(s.left(0).isEmpty() && s.right(-1).isEmpty());
    EXPECT_EQ(text(s.left(3)) + text(s.right(3)), u"abcrst");
}

TEST(TStringCore, SwapExchangesShortAndLongTexts) {
    const std::u16string shortText = u"short", longText = text(letters(30)), other = text(letters(40));
    for (auto [first, second] :
         {std::pair{shortText, shortText + u"2"}, {shortText, longText}, {longText, other}}) {
        TStringCore a(first.c_str()), b(second.c_str());
        char16_t const* blockOfB = b.constData();
        a.swap(b);
        a.swap(a);
        EXPECT_EQ(text(a) + u"|" + text(b), second + u"|" + first);
        EXPECT_TRUE(second.size() <= 14 || a.constData() == blockOfB); // a block moves, not its text
        EXPECT_FALSE(a.isShared() || b.isShared());
    }
}

TEST(TStringCore, ConcatenationAndPrependForms) {
    const TStringCore ab(u"ab"), shared = letters(20);
    EXPECT_EQ(text(u'z' + (u"xy" + ab + u'c' + u"cd" + ab)), u"zxyabccdab"); // every operator+ form
    EXPECT_EQ(text(shared + u"!"), text(letters(20)) + u"!");
    EXPECT_FALSE(shared.isShared());
    EXPECT_EQ(text(TStringCore(u"cd").prepend(u'b').prepend(u"-a", -1).append('\xFF')), u"-abcd\u00FF");
}

// ---- Randomized comparison with std::u16string ----------------------------------------------

class EditModel {
public:
    explicit EditModel(unsigned seed)
        : m_random(seed) {}

    void step() {
        if (m_model.size() > 300) {
            m_string.truncate(40);
            m_model.resize(40);
        }
        const int n = static_cast<int>(m_model.size());
        const int pos = pick(-2, n + 2), count = pick(-2, n + 3), offset = pick(0, n), take = pick(-1, n + 2);
        const std::u16string other = randomText();
        const int length = pick(0, 4) == 0 ? -1 : static_cast<int>(other.size());
        const std::u16string piece =
            length < 0 ? other.substr(0, other.find(u'\0')) : other.substr(0, length);
        auto untilZero = [&](int from, int units) {
            return m_model.substr(from, units < 0 ? m_model.find(u'\0', from) - from : units);
        };
        // Each edit of the string beside the same edit of the model. Pieces of its own text may
        // reach the terminator; a single unit may land inside a pair; mid and assign with a
        // negative count stop at the first zero unit.
        const std::function<void()> edits[][2] = {
            {[&] { m_string.append(other.c_str(), length); }, [&] { m_model += piece; }},
            {[&] { m_string.append(m_string.constData() + offset, take); },
             [&] { m_model += m_model.substr(offset, take >= 0 && offset + take <= n ? take : n - offset); }},
            {[&] { m_string.insert(pos, other.c_str(), length); }, [&] { modelInsert(pos, piece); }},
            {[&] { m_string.insert(pos, other[0]); }, [&] { modelInsert(pos, other.substr(0, 1), true); }},
            {[&] { m_string.removeAt(pos, count); }, [&] { modelRemove(pos, count); }},
            {[&] { m_string.replace(pos, count, other.c_str(), length); },
             [&] { modelReplace(pos, count, piece); }},
            {[&] { m_string.chop(count); }, [&] { m_model.resize(n - std::clamp(count, 0, n)); }},
            {[&] { m_string.truncate(count); }, [&] { m_model.resize(std::min(n, std::max(count, 0))); }},
            {[&] { m_string = m_string.mid(pos, count); },
             [&] { m_model = pos < 0 || pos > n ? std::u16string() : untilZero(pos, count); }},
            {[&] { m_string.assign(m_string.constData() + offset, take); },
             [&] { m_model = offset > 0 || (take >= 0 && take < n) ? untilZero(offset, take) : m_model; }},
            {[&] { m_string.truncateAtFirstNull(); }, [&] { m_model = untilZero(0, -1); }},
            // Copies that share the block, and storage changes the model does not see.
            {[&] {
                 m_copies[pick(0, kCopies - 1)] = {m_string, m_model};
             },
             [] {}},
            {[&] { std::tie(m_string, m_model) = m_copies[pick(0, kCopies - 1)]; }, [] {}},
            {[&] { pick(0, 1) ? m_string.squeeze() : m_string.reserve(pick(0, 60)); }, [] {}},
        };
        auto const& edit = edits[pick(0, static_cast<int>(std::size(edits)) - 1)];
        edit[0]();
        edit[1]();
    }

    void check() const {
        ASSERT_EQ(text(m_string), m_model);
        ASSERT_EQ(m_string.constData()[m_string.size()], 0);
        for (auto const& [copy, snapshot] : m_copies)
            ASSERT_EQ(text(copy), snapshot);
    }

private:
    static constexpr int kCopies = 6;

    int pick(int low, int high) { return std::uniform_int_distribution<int>(low, high)(m_random); }

    // Mostly letters, with zero units and both halves of surrogate pairs now and then.
    std::u16string randomText() {
        static constexpr char16_t kUnits[] = u"abcdefgh\xD83D\xDE00\xE000";
        std::u16string t(pick(1, 20), u'a');
        for (char16_t& unit : t)
            unit = pick(0, 40) == 0 ? u'\0' : kUnits[pick(0, 10)];
        return t;
    }

    void modelInsert(int pos, std::u16string const& t, bool mayLandInAPair = false) {
        const int n = static_cast<int>(m_model.size());
        if (pos < 0 || pos > n || t.empty()) return;
        const char16_t at = pos < n ? m_model[pos] : 0;
        if (at >= 0xDC00 && at <= 0xDFFF && !mayLandInAPair) return; // text never goes inside a pair
        m_model.insert(pos, t);
    }

    void modelRemove(int pos, int count) {
        const int n = static_cast<int>(m_model.size());
        if (n <= pos) return;
        if (pos + count >= n) return m_model.resize(std::max(pos, 0));
        const int removed = pos < 0 ? pos + count : count; // a negative pos eats into the count
        if (removed > 0) m_model.erase(std::max(pos, 0), removed);
    }

    void modelReplace(int pos, int count, std::u16string const& t) {
        const int n = static_cast<int>(m_model.size());
        if (pos < 0 || count < 0 || pos > n) return;
        if (count == 0) return modelInsert(pos, t);
        m_model.replace(pos, std::min(count, n - pos), t); // past the end: the tail form
    }

    std::mt19937 m_random;
    TStringCore m_string;
    std::u16string m_model;
    std::array<std::pair<TStringCore, std::u16string>, kCopies> m_copies;
};

TEST(TStringCore, RandomEditsMatchAPlainModelAndLeaveCopiesAlone) {
    for (unsigned seed : {1u, 2u, 3u}) {
        SCOPED_TRACE(seed);
        EditModel model(seed);
        for (int i = 0; i < 3000; ++i) {
            model.step();
            ASSERT_NO_FATAL_FAILURE(model.check()) << "step " << i;
        }
    }
}

} // namespace
