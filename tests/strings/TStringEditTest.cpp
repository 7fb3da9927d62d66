// Editing by value: trimming, removing and replacing by unit, pattern and set, justifying,
// repeating, reversing, line endings and case. Edits that change nothing must leave a shared string
// shared; pattern edits are compared with a plain model on generated text.
#include "MemoryTestSupport.h"
#include "TStringTestSupport.h"

#include <algorithm>
#include <climits>
#include <initializer_list>
#include <random>
#include <unicode/uchar.h>

namespace {

using namespace std::literals;
using namespace kestal::testing;
using std::u16string;
using Edit = void (*)(TStringCore&);
constexpr auto kSensitive = TStringCore::CaseSensitive;
constexpr auto kFold = TStringCore::CaseInsensitive;

struct EditCase {
    u16string input;
    Edit edit;
    u16string expected;
};

void expectEdits(std::initializer_list<EditCase> cases) {
    for (EditCase const& c : cases) {
        TStringCore s(c.input.data(), static_cast<int>(c.input.size()));
        c.edit(s);
        EXPECT_EQ(text(s), c.expected) << "input #" << (&c - cases.begin());
    }
}

TEST(TStringEdit, TrimDropsWhiteSpaceCharacterByCharacter) {
    // An input, then trimmed on both sides | on the left | on the right.
    const std::pair<u16string, u16string> cases[] = {
        {u"", u"||"},
        {u" \t a b \r\n", u"a b|a b \r\n| \t a b"},
        {u"\u00A0x\u2003\u200B", u"x\u2003\u200B|x\u2003\u200B|\u00A0x\u2003\u200B"}, // U+200B is no space
        {u" \U0001F600  ", u"\U0001F600|\U0001F600  | \U0001F600"},                   // a pair is never space
        {u"a \xDC00", u"a|a \xDC00|a"}, // a lone low half goes with the space
        {u"\xDC00  ", u"|\xDC00  |"},
        {u"\0 "s, u"\0|\0 |\0"s}, // the zero unit is no space
    };
    for (auto const& [input, expected] : cases) {
        const TStringCore s(input.data(), static_cast<int>(input.size()));
        EXPECT_EQ(text(s.trimmed()) + u"|" + text(TStringCore(s).trimLeft()) + u"|" +
                      text(TStringCore(s).trimRight()),
                  expected);
    }
    // A cut at the end keeps the block; emptying from the start gives it up.
    TStringCore blanks(u"                    ");
    const int capacity = blanks.capacity();
    EXPECT_EQ(blanks.trimRight().capacity(), capacity);
    EXPECT_TRUE(isInline(blanks.trimLeft()));
}

TEST(TStringEdit, TrimRemoveAndReplaceByUnitAndSet) {
    expectEdits({
        {u"\0\0ab\0\0"s, [](TStringCore& s) { s.trimRight(char16_t(0)); }, u"\0\0ab"s},
        {u"\0ab"s, [](TStringCore& s) { s.trimLeft(char16_t(0)); }, u""},     // a leading zero empties all
        {u"a\0"s, [](TStringCore& s) { s.trimLeft(char16_t(0)); }, u"a\0"s},  // otherwise nothing
        {u"\uFF80a\uFF80", [](TStringCore& s) { s.trim(char(-128)); }, u"a"}, // char widens with its sign
        {u"  a  ", [](TStringCore& s) { s.trimRight(static_cast<char16_t const*>(nullptr)); }, u"  a  "},
        {u"\U0001F600a \U0001F600", [](TStringCore& s) { s.trim(u" \U0001F600"); }, u"a"},
        {u"a\U0001F600", [](TStringCore& s) { s.trim(u"x\xD83D"); },
         u"a\U0001F600"},                                             // half a pair is not the pair
        {u"ab\0cd"s, [](TStringCore& s) { s.trimLeft(u"ab"); }, u""}, // the zero ends the text here
        {u"\u00E9a\0b"s, [](TStringCore& s) { s.trimLeft(u"a\u00E9"); }, u""},
        {u"ab\0cd"s, [](TStringCore& s) { s.trimLeft(TStringCore(u"ab")); }, u"\0cd"s}, // but not by size
        {u"abcba", [](TStringCore& s) { s.trim(TStringCore(u"ab")); }, u"c"},
        {u"axb\0c"s, [](TStringCore& s) { s.removeAll(u'x'); }, u"ab"}, // cut at the zero behind a hit
        {u"ab\0cx"s, [](TStringCore& s) { s.removeAll(u'x'); }, u"ab\0c"s},
        {u"a\0b\0c"s, [](TStringCore& s) { s.removeAll(char16_t(0)); }, u"ab"},
        {u"abcab", [](TStringCore& s) { s.removeAnyOf(u"ab", 2); }, u"abc"},
        {u"a\u00E9bx", [](TStringCore& s) { s.removeAnyOf(u"\u00E9x"); }, u"ab"},
        {u"a\U0001F600b\xD83D\0c"s, [](TStringCore& s) { s.removeAnyOf(u"\U0001F600\uFFFD"); }, u"ab"},
        {u"a,b;c", [](TStringCore& s) { s.replaceAnyOf(u",;", u'_'); }, u"a_b_c"},
        {u"a\U0001F600b,c", [](TStringCore& s) { s.replaceAnyOf(u",\U0001F600", u'_'); }, u"a_b_c"},
        {u"a,b\0c,"s, [](TStringCore& s) { s.replaceAnyOf(u",\U0001F600", u'_'); }, u"a_b"},
        {u"aaaa", [](TStringCore& s) { s.replaceAnyOf(TStringCore(u"a"), u'x', 2); }, u"aaxx"},
    });
    char16_t wide[] = u"a\u00E9b";
    EXPECT_EQ(TStringCore::removeAnyOf(wide, u"\u00E9x", 0), 2);
    EXPECT_EQ(wide[2], u'0'); // this method marks the end so; the length is what counts
    char16_t pairs[] = u"\U0001F600a\U0001F600";
    EXPECT_EQ(TStringCore::replaceAnyOf(pairs, u"\U0001F600", u'-', 0), 3);
    EXPECT_EQ(u16string(pairs), u"-a-");
}

TEST(TStringEdit, ReplaceCountReplacesLeftToRightWithoutOverlap) {
    // Null and zero-led patterns match no unit; a pattern longer than the string builds no table; a
    // null replacement of non-zero length is counted, not written.
    const std::tuple<char16_t const*, char16_t const*, int, char16_t const*, int, int, char16_t const*>
        cases[] = {
            {u"abc", u"a", 0, u"x", 1, 0, u"abc"},         {u"abc", u"a", -1, u"x", 1, 0, u"abc"},
            {u"abc", nullptr, 1, u"x", 1, 0, u"abc"},      {u"abc", u"\0b", 2, u"x", 1, 0, u"abc"},
            {u"abc", u"abc", INT_MAX, u"x", 1, 0, u"abc"}, {u"aXa", u"a", 1, nullptr, 0, 2, u"X"},
            {u"aXa", u"a", 1, nullptr, 1, 2, u"aXa"},      {u"a-b-", u"-", 1, u"+=", -1, 2, u"a+=b+="}};
    for (auto [input, before, beforeLength, after, afterLength, count, expected] : cases) {
        TStringCore s(input);
        EXPECT_EQ(s.replaceCount(before, beforeLength, after, afterLength, kSensitive), count) << s;
        EXPECT_EQ(text(s), expected);
    }
}

// The model of both pattern edits: removal searches on from where it removed, replacement from
// behind what it wrote. Folding is per unit, as in the library.
char16_t fold(char16_t c) {
    return c < 0x80 ? (c >= u'A' && c <= u'Z' ? c + 0x20 : c) : static_cast<char16_t>(u_foldCase(c, 0));
}
std::size_t modelFind(u16string const& t, u16string const& p, std::size_t from, bool cs) {
    auto same = [cs](char16_t a, char16_t b) { return cs ? a == b : fold(a) == fold(b); };
    auto at = std::search(t.begin() + static_cast<std::ptrdiff_t>(from), t.end(), p.begin(), p.end(), same);
    return at == t.end() ? u16string::npos : static_cast<std::size_t>(at - t.begin());
}

TEST(TStringEdit, PatternEditsMatchAPlainModel) {
    static constexpr char16_t alphabet[] = {u'a', u'A', u'b', u'\u00E9', u'\u00C9', 0, 0xD83D, 0xDE00};
    std::mt19937 random(7);
    auto generate = [&](int maxLength, bool zeroFirst) {
        u16string s(random() % (maxLength + 1), u'a');
        for (char16_t& c : s)
            c = alphabet[random() % (zeroFirst ? 8 : 5)];
        return s;
    };
    for (int round = 0; round < 3000; ++round) {
        const u16string t = generate(round % 4 ? 40 : 300, true), p = generate(3, false) + u'a',
                        after = generate(4, true);
        const u16string pattern = p.substr(0, 1 + random() % p.size());
        const bool cs = round % 2 == 0;
        const auto mode = cs ? kSensitive : kFold;

        u16string removed = t;
        for (std::size_t at = 0; (at = modelFind(removed, pattern, at, cs)) != u16string::npos;)
            removed.erase(at, pattern.size());
        TStringCore s(t.data(), static_cast<int>(t.size()));
        const TStringCore shared(s);
        s.removeAll(pattern.data(), static_cast<int>(pattern.size()), mode);
        ASSERT_EQ(text(s), removed) << round;
        ASSERT_EQ(text(shared), t);

        // The result is built as appends to a reservation at the present size would build it,
        // capacity included.
        TStringCore replaced;
        replaced.reserve(static_cast<int>(t.size()));
        int count = 0;
        std::size_t done = 0;
        for (std::size_t at; (at = modelFind(t, pattern, done, cs)) != u16string::npos; ++count) {
            replaced.append(t.data() + done, static_cast<int>(at - done));
            replaced.append(after.data(), static_cast<int>(after.size()));
            done = at + pattern.size();
        }
        replaced.append(t.data() + done, static_cast<int>(t.size() - done));
        s = shared;
        ASSERT_EQ(s.replaceCount(pattern.data(), static_cast<int>(pattern.size()), after.data(),
                                 static_cast<int>(after.size()), mode),
                  count);
        ASSERT_EQ(text(s), text(replaced)) << round;
        ASSERT_TRUE(count == 0 || after.size() == pattern.size() || s.capacity() == replaced.capacity())
            << round;
    }
}

TEST(TStringEdit, EditsDetachOnlyWhenTheyChangeTheText) {
    // On letters(30): the last 'a' stands at 26, and a null replacement of equal length only counts.
    using T = TStringCore;
    int row = 0;
    for (Edit edit : {+[](T& s) { s.trim(); }, +[](T& s) { s.trim(u'#'); }, +[](T& s) { s.trim(u"#$"); },
                      +[](T& s) { s.trim(T(u"#\U0001F600")); }, +[](T& s) { s.removeAll(u'#'); },
                      +[](T& s) { s.removeAll(u"ABC", -1, kSensitive); }, +[](T& s) { s.removeAnyOf(u"#$"); },
                      +[](T& s) { s.removeAnyOf(u"\U0001F600"); }, +[](T& s) { s.removeAnyOf(u"a", 27); },
                      +[](T& s) { s.replace(u'#', u'$'); }, +[](T& s) { s.replace(T(u"#$"), T(u"%")); },
                      +[](T& s) { s.replace(u"ab", 2, nullptr, 2); }, +[](T& s) { s.dosToUnix(); },
                      +[](T& s) { s.unixToDos(); }}) {
        T s = letters(30);
        const T other(s);
        edit(s);
        EXPECT_TRUE(s.isShared() && s.constData() == other.constData()) << "edit #" << row++;
    }
    // Edits in place allocate nothing of their own, and leave the other owner's text alone.
    for (Edit edit :
         {+[](T& s) { s.trim(u"ab"); }, +[](T& s) { s.removeAll(u'c'); }, +[](T& s) { s.removeAll(u"de"); },
          +[](T& s) { s.removeAnyOf(u"fg"); }, +[](T& s) { s.replace(u'h', u'i'); },
          +[](T& s) { s.replace(u"jk", 2, u"kj", 2); }, +[](T& s) { s.reverse(); }}) {
        T s = letters(40), shared = letters(40), other(shared);
        ScopedCounting counting(velmora::memory::MemoryTrackingMode::AllocationsAndFrees);
        edit(s);
        EXPECT_EQ(counting.allocations(), 0u) << "edit #" << row++;
        edit(shared);
        EXPECT_EQ(text(shared) + text(other), text(s) + text(letters(40)));
    }
}

TEST(TStringEdit, WholeTextTransforms) {
    const TStringCore abc(u"abc"), long20 = letters(20);
    EXPECT_EQ(text(abc.leftJustified(2, u'.', true)) + u"|" + text(abc.rightJustified(2, u'.', true)) + u"|" +
                  text(abc.rightJustified(5, u'.')) + u"|" + text(abc.repeated(3)),
              u"ab|ab|..abc|abcabcabc"); // a cut keeps the head, not the tail
    EXPECT_TRUE(long20.leftJustified(20).isShared() && long20.rightJustified(5, u' ', false).isShared() &&
                long20.repeated(1).isShared());
    // 65536 * 32768 wraps to a negative size in 32 bits.
    expectStringException<TStringCore::Exception>([] { (void)letters(65536).repeated(32768); },
                                                  u"Negative allocation size; probable overflow");

    EXPECT_EQ(text(TStringCore(u"a\U0001F600").reversed()), u"\U0001F600a");
    EXPECT_EQ(text(TStringCore(u"\U0001F600\U0001F601\xDC00x").reversed()), u"x\xDC00\U0001F601\U0001F600");
    EXPECT_EQ(text(TStringCore(u"\uF800\uFC00").reversed()), u"\uF800\uFC00"); // the loose mask test

    // Full case mapping changes lengths; an outgrown buffer, inline or not, is mapped again.
    EXPECT_EQ(text(TStringCore(u"stra\u00DFe").toUpper()), u"STRASSE");
    EXPECT_EQ(text(TStringCore(u16string(8, u'\u00DF').c_str()).toUpper()), u16string(16, u'S'));
    EXPECT_EQ(text(TStringCore(u16string(20, u'\u00DF').c_str()).toUpper()), u16string(40, u'S'));
    EXPECT_EQ(text(TStringCore(u"\u0130X").toLower()), u"i\u0307x");
}

} // namespace
