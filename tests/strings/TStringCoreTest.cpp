// TStringCore in code units: construction, element access, comparison and editing by position,
// with a randomized comparison of editing against a plain std::u16string model.
#include "MemoryTestSupport.h"
#include "TStringTestSupport.h"

#include <algorithm>
#include <climits>
#include <gtest/gtest.h>
#include <kestal/TStringCore.h>
#include <random>
#include <string>
#include <tuple>
#include <unicode/uchar.h>
#include <utility>
#include <vector>

namespace {

using kestal::testing::expectStringException;
using kestal::testing::letters;
using kestal::testing::text;
using CapacityException = TStringCore::CapacityException;
using Exception = TStringCore::Exception;
constexpr auto kFold = TStringCore::CaseInsensitive;

// A string that holds the text at its capacity limit, so that any growth of a long text
// reallocates, or one with room to spare. Never shared.
TStringCore sample(char16_t const* units, bool roomy = false) {
    TStringCore s(units);
    roomy ? s.reserve(100) : s.squeeze();
    return s;
}

constexpr char16_t kSixteen[] = u"abcdefghijklmnop";

TEST(TStringCore, ConstructionCopiesExactlyTheGivenUnits) {
    EXPECT_TRUE(TStringCore(nullptr, 5).isEmpty());
    EXPECT_TRUE(TStringCore(u"abc", 0).isEmpty());
    const TStringCore zeros(u"ab\0cd", 5);
    EXPECT_EQ(zeros.size(), 5);
    EXPECT_EQ(text(zeros), std::u16string(u"ab\0cd", 5));
    EXPECT_EQ(TStringCore(u"ab\0cd").size(), 2);
    EXPECT_EQ(TStringCore::length(nullptr), 0);
    EXPECT_EQ(TStringCore::lengthInBytes(u"abc"), 6);
}

TEST(TStringCore, ElementAccessAllowsTheTerminatorAndNothingBeyond) {
    using Access = char16_t (*)(TStringCore&, int);
    const std::pair<Access, char16_t const*> accessors[] = {
        {[](TStringCore& s, int i) { return s[i]; }, u"TStringCore::operator[int] argument out of range."},
        {[](TStringCore& s, int i) { return std::as_const(s)[i]; },
         u"TStringCore::operator[int] const argument out of range."},
        {[](TStringCore& s, int i) { return s[static_cast<unsigned long>(i)]; },
         u"TStringCore::operator[size_type] argument out of range."},
        {[](TStringCore& s, int i) { return std::as_const(s)[static_cast<unsigned long>(i)]; },
         u"TStringCore::operator[size_type] const argument out of range."},
        {[](TStringCore& s, int i) { return s.at(i); }, u"TStringCore::at(int): argument out of range."},
    };
    TStringCore s(u"abc");
    for (auto const& accessor : accessors) {
        const Access read = accessor.first;
        EXPECT_EQ(read(s, 3), 0); // the terminator
        for (int index : {-1, 4})
            expectStringException<Exception>([&] { read(s, index); }, accessor.second);
    }
    s[0] = u'X';
    s[1ul] = u'Y';
    EXPECT_EQ(text(s), u"XYc");
}

TEST(TStringCore, ComparisonIsUnsignedUnitOrderStoppingAtTheFirstZero) {
    const TStringCore abx(u"ab\0x", 4), aby(u"ab\0y", 4), ab(u"ab");
    EXPECT_TRUE(abx == aby);       // equal sizes, equal up to the zero
    EXPECT_FALSE(ab == abx);       // == tests sizes first...
    EXPECT_EQ(ab.compare(abx), 0); // ...compare and the order operators do not
    EXPECT_FALSE(ab < abx || ab > abx);
    EXPECT_TRUE(abx == u"ab");

    const TStringCore empty;
    EXPECT_TRUE(empty == static_cast<char16_t const*>(nullptr));
    EXPECT_TRUE(ab > static_cast<char16_t const*>(nullptr));
    EXPECT_TRUE(static_cast<char16_t const*>(nullptr) < ab);
    EXPECT_EQ(TStringCore::compare(nullptr, u""), 0);

    EXPECT_TRUE(TStringCore(u"\U00010000") < TStringCore(u"\uE000")); // surrogates sort below U+E000
    EXPECT_EQ(TStringCore(u"z").compare(u"a"), 1);
    EXPECT_EQ(TStringCore(u"ab").compare(u"abc"), -1);
    EXPECT_TRUE(u"abc" >= TStringCore(u"ab") && u"abc" != TStringCore(u"ab"));
}

TEST(TStringCore, CaseInsensitiveComparisonFoldsUnitByUnit) {
    EXPECT_EQ(TStringCore(u"\u00C4pfel").compare(u"\u00E4PFEL", kFold), 0);
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

TEST(TStringCore, CompareNLooksAtMostNUnits) {
    // A negative count is no limit; a common zero ends the walk.
    const std::tuple<char16_t const*, char16_t const*, int, int> cases[] = {
        {u"abcX", u"abcY", 3, 0},   {u"abcX", u"abcY", -1, -1}, {u"x", u"y", 0, 0},
        {u"ab\0x", u"ab\0y", 4, 0}, {nullptr, u"a", 1, -1},     {nullptr, u"", 1, 0},
        {u"a", nullptr, 1, 1}};
    for (auto [a, b, n, expected] : cases)
        EXPECT_EQ(TStringCore::compareN(a, b, n), expected) << n;
    EXPECT_EQ(TStringCore::compareN(u"ABCx", u"abcy", 3, kFold), 0);
}

// Appending from the string itself; the pointer form is in the random comparison below.
TEST(TStringCore, AppendingFromItselfSurvivesReallocation) {
    TStringCore s = sample(u"abcdef");
    s.appendFromSelf(1, 2);
    s.appendFromSelf(6, -1);
    s.appendFromSelf(-1, 2);
    s.append(s);
    EXPECT_EQ(text(s), u"abcdefbcbcabcdefbcbc");
    s.push_back(s);
    EXPECT_EQ(s.size(), 40);
    s = sample(u"abcdefgh"); // a length near INT_MAX is cut to the text, not summed past int
    s.append(s.constData() + 1, INT_MAX);
    EXPECT_EQ(text(s), u"abcdefghbcdefgh");

    TStringCore emptySelf, copy = letters(20), shared = copy;
    emptySelf.append(emptySelf);
    EXPECT_TRUE(emptySelf.isEmpty());
    copy.append(TStringCore()); // an empty append is still a write
    EXPECT_FALSE(copy.isShared());
}

// Pieces of its own text, shared or not, are in the random comparison; here the end of int.
TEST(TStringCore, AssignFromItsOwnTextKeepsTheRightUnits) {
    TStringCore s(u"abcdefgh");
    s.assign(s.constData() + 1, INT_MAX);
    EXPECT_EQ(text(s), u"bcdefgh");
    s.set(s.constData() + 2, 9).assign(nullptr);
    EXPECT_TRUE(s.isEmpty());

    s.assign('\xE9', 2); // widened without sign
    EXPECT_EQ(text(s), u"\u00E9\u00E9");
    s.assign(u'x', -1);
    EXPECT_EQ(text(s), u"\u00E9\u00E9");
}

TEST(TStringCore, InsertingTextRefusesToSplitAPairButASingleUnitDoes) {
    TStringCore s(u"a\U0001F600b");
    s.insert(2, u"X").insert(1, nullptr).insert(1, u"XY", 0); // inside the pair, or nothing
    EXPECT_EQ(text(s), u"a\U0001F600b");
    s.insert(2, u'|');
    EXPECT_EQ(text(s), u"a\xD83D|\xDE00"
                       u"b");

    // Text from the string itself: at or behind pos the units read are the shifted ones,
    // whether or not the growth reallocates.
    for (bool roomy : {false, true}) {
        TStringCore t = sample(kSixteen, roomy);
        t.insert(1, t.constData() + 2, 2);
        EXPECT_EQ(text(t), u"acbbcdefghijklmnop");
    }
    s = sample(kSixteen);
    s.insert(4, s.constData() + 1, 2);
    EXPECT_EQ(text(s), u"abcdbcefghijklmnop");
    s.prepend(s);
    EXPECT_EQ(text(s), u"abcdbcefghijklmnopabcdbcefghijklmnop");
}

TEST(TStringCore, RemovingByPositionTakesNegativePositionsFromTheCount) {
    EXPECT_EQ(text(TStringCore(u"abcdefg").removeAt(-2, 5)), u"defg");
    EXPECT_EQ(text(TStringCore(u"abcdefg").removeAt(-5, 5)), u"abcdefg");
    // The ends of int: a count that a negative pos eats below 1, or a sum that passes the end.
    for (auto [pos, count, left] : {std::tuple{-5, INT_MIN, u"abcdefg"},
                                    {INT_MIN, INT_MAX, u"abcdefg"},
                                    {-1, INT_MAX, u""},
                                    {INT_MAX, 1, u"abcdefg"},
                                    {2, INT_MAX, u"ab"}})
        EXPECT_EQ(text(TStringCore(u"abcdefg").removeAt(pos, count)), left) << pos << " " << count;
}

TEST(TStringCore, ReplaceCoversWholeTailInsertRemoveAndMiddle) {
    auto replaced = [](int pos, int count, char16_t const* with, int length = -1) {
        return text(TStringCore(u"abcdef").replace(pos, count, with, length));
    };
    EXPECT_EQ(replaced(1, 1, nullptr, 3), u"abcdef");
    EXPECT_EQ(replaced(0, 9, u"xyz", 0), u"");
    EXPECT_EQ(replaced(2, 3, u"XY", 0), u"abf");
    EXPECT_EQ(text(TStringCore(u"a\U0001F600").replace(2, 0, u"X")), u"a\U0001F600");

    // Texts from the string itself: whole and tail forms read them safely, the middle form
    // reads the shifted units, with or without a reallocation.
    TStringCore s(u"abcdef");
    s.replace(2, 100, s.constData(), -1);
    EXPECT_EQ(text(s), u"abab");
    s.replace(0, 4, s.constData() + 1, 2);
    EXPECT_EQ(text(s), u"ba");
    // The tail form cuts first, so a text from behind pos lies beyond the terminator and is
    // appended as an outside text: the terminator of the new size lands in it, unless the string
    // was shared and the text still sits unchanged in the other owner's block.
    s = TStringCore(u"abcdefgh");
    s.replace(2, 6, s.constData() + 3, 3);
    EXPECT_EQ(text(s), std::u16string(u"abde\0", 5));
    TStringCore shared = letters(20), owner = shared;
    shared.replace(2, 18, shared.constData() + 3, 3);
    EXPECT_EQ(text(shared), u"abdef");
    for (bool roomy : {false, true}) {
        TStringCore t = sample(kSixteen, roomy);
        t.replace(1, 1, t.constData() + 3, 3);
        EXPECT_EQ(text(t), u"adcdcdefghijklmnop");
    }
}

TEST(TStringCore, SubstringsShareWhenTheyAreTheWholeString) {
    const TStringCore zero(u"abcd\0fgh", 8);
    EXPECT_EQ(text(zero.mid(2, -5)), u"cd");
    EXPECT_EQ(text(zero.mid(5)), u"fgh");
    EXPECT_EQ(text(zero.mid(3, 100)), std::u16string(u"d\0fgh", 5));
    for (auto [pos, n] : {std::pair{-1, 2}, {9, 1}, {8, 3}, {2, 0}})
        EXPECT_TRUE(zero.mid(pos, n).isEmpty());

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
        EXPECT_EQ(text(a) + u"|" + text(b), second + u"|" + first);
        EXPECT_TRUE(second.size() <= 14 || a.constData() == blockOfB); // a block moves, not its text
        EXPECT_FALSE(a.isShared() || b.isShared());
        b.swap(a);
        a.swap(a);
        EXPECT_EQ(text(a) + u"|" + text(b), first + u"|" + second);
    }
}

TEST(TStringCore, ConcatenationAndPrependForms) {
    const TStringCore ab(u"ab"), shared = letters(20);
    EXPECT_EQ(text(u'z' + (u"xy" + ab + u'c' + u"cd" + ab)), u"zxyabccdab"); // every operator+ form
    EXPECT_EQ(text(shared + u"!"), text(letters(20)) + u"!");
    EXPECT_FALSE(shared.isShared());

    TStringCore s(u"cd");
    s.prepend(u'b').prepend(u"-a", -1).append('\xFF');
    s.push_front(u'>');
    EXPECT_EQ(text(s), u">-abcd\u00FF");
}

// ---- Randomized comparison with std::u16string ----------------------------------------------

class EditModel {
public:
    explicit EditModel(unsigned seed)
        : m_random(seed) {}

    void step() {
        const int n = static_cast<int>(m_model.size());
        const int pos = pick(-2, n + 2), count = pick(-2, n + 3);
        const std::u16string other = randomText();
        const int length = pick(0, 4) == 0 ? -1 : static_cast<int>(other.size());
        switch (pick(0, 13)) {
        case 0:
            m_string.append(other.c_str(), length);
            m_model += measured(other, length);
            break;
        case 1: { // a piece of itself, possibly reaching the terminator
            const int offset = pick(0, n), take = pick(-1, n + 2);
            m_string.append(m_string.constData() + offset, take);
            m_model += m_model.substr(offset, take >= 0 && offset + take <= n ? take : n - offset);
            break;
        }
        case 2:
            m_string.insert(pos, other.c_str(), length);
            modelInsert(pos, measured(other, length));
            break;
        case 3:
            m_string.insert(pos, other[0]);
            if (pos >= 0 && pos <= n) m_model.insert(m_model.begin() + pos, other[0]);
            break;
        case 4:
            m_string.removeAt(pos, count);
            modelRemove(pos, count);
            break;
        case 5:
            m_string.replace(pos, count, other.c_str(), length);
            modelReplace(pos, count, measured(other, length));
            break;
        case 6:
            m_string.chop(count);
            if (count > 0) m_model.resize(count >= n ? 0 : n - count);
            break;
        case 7:
            m_string.truncate(count);
            if (n > std::max(count, 0)) m_model.resize(std::max(count, 0));
            break;
        case 8: // mid, to the first zero unit when the count is negative
            m_string = m_string.mid(pos, count);
            if (pos < 0 || pos > n)
                m_model.clear();
            else
                m_model = m_model.substr(pos, count < 0 ? m_model.find(u'\0', pos) - pos : count);
            break;
        case 9: // keep a copy that shares the block
            if (m_copies.size() < 6)
                m_copies.emplace_back(m_string, m_model);
            else
                m_copies[pick(0, 5)] = {m_string, m_model};
            break;
        case 10:
            if (!m_copies.empty())
                std::tie(m_string, m_model) = m_copies[pick(0, static_cast<int>(m_copies.size()) - 1)];
            break;
        case 11: { // assignment from its own text
            const int offset = pick(0, n), take = pick(-1, n + 2);
            m_string.assign(m_string.constData() + offset, take);
            if (offset > 0 || (take >= 0 && take < n))
                m_model = m_model.substr(offset, take < 0 ? m_model.find(u'\0', offset) - offset : take);
            break;
        }
        case 12:
            m_string.truncateAtFirstNull();
            m_model.resize(std::min(m_model.size(), m_model.find(u'\0')));
            break;
        default:
            pick(0, 1) ? m_string.squeeze() : m_string.reserve(pick(0, 60));
        }
        if (m_model.size() > 300) {
            m_string.truncate(40);
            m_model.resize(40);
        }
    }

    void check() const {
        ASSERT_EQ(text(m_string), m_model);
        ASSERT_EQ(m_string.constData()[m_string.size()], 0);
        for (auto const& [copy, snapshot] : m_copies)
            ASSERT_EQ(text(copy), snapshot);
    }

private:
    int pick(int low, int high) { return std::uniform_int_distribution<int>(low, high)(m_random); }

    // Mostly letters, with zero units and both halves of surrogate pairs now and then.
    std::u16string randomText() {
        static constexpr char16_t kUnits[] = u"abcdefgh\xD83D\xDE00\xE000";
        std::u16string t(pick(1, 20), u'a');
        for (char16_t& unit : t)
            unit = pick(0, 40) == 0 ? u'\0' : kUnits[pick(0, 10)];
        return t;
    }

    static std::u16string measured(std::u16string const& t, int length) {
        return length < 0 ? t.substr(0, t.find(u'\0')) : t.substr(0, length);
    }

    void modelInsert(int pos, std::u16string const& t) {
        const int n = static_cast<int>(m_model.size());
        if (pos < 0 || pos > n || t.empty()) return;
        const char16_t at = pos < n ? m_model[pos] : 0;
        if (at >= 0xDC00 && at <= 0xDFFF) return; // never inside a pair
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
    std::vector<std::pair<TStringCore, std::u16string>> m_copies;
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
