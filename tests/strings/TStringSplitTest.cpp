// Splitting and joining: split, section and join against a plain model on generated text, and
// the rules for empties, zero-terminated text, tokenize's position and joining's size.
#include "TStringTestSupport.h"

#include <algorithm>
#include <climits>
#include <gtest/gtest.h>
#include <iterator>
#include <kestal/TStringCore.h>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace {

using kestal::testing::letters;
using kestal::testing::text;
using kestal::testing::texts;
using std::u16string;
using Texts = std::vector<u16string>;
constexpr auto kKeep = TStringCore::KeepEmpty;
constexpr auto kSkip = TStringCore::SkipEmpty;
constexpr auto kSensitive = TStringCore::CaseSensitive;

// The pieces between separators as (start, length), ASCII letters folded when asked.
std::vector<std::pair<int, int>> modelPieces(u16string const& t, u16string const& separator, bool fold) {
    auto same = [fold](char16_t a, char16_t b) {
        return a == b || (fold && a < 0x80 && b < 0x80 && (a | 0x20) == (b | 0x20) && (a | 0x20) >= u'a');
    };
    std::vector<std::pair<int, int>> pieces;
    for (auto pos = t.begin();;) {
        const auto hit = std::search(pos, t.end(), separator.begin(), separator.end(), same);
        pieces.emplace_back(static_cast<int>(pos - t.begin()), static_cast<int>(hit - pos));
        if (hit == t.end()) return pieces;
        pos = hit + static_cast<std::ptrdiff_t>(separator.size());
    }
}

TEST(TStringSplit, SplitSectionAndJoinMatchAPlainModel) {
    static constexpr char16_t alphabet[] = {u'a', u'A', u'b', u',', u';', u'\u00E9', 0xD83D, 0xDE00};
    std::mt19937 random(11);
    for (int round = 0; round < 3000; ++round) {
        u16string t(random() % 24, u'a'), separator(1 + random() % 2, u',');
        for (char16_t& c : t)
            c = alphabet[random() % 8];
        for (char16_t& c : separator)
            c = alphabet[random() % 5];
        const bool fold = round % 3 == 0;
        const TStringCore s(t.data(), static_cast<int>(t.size())), sep(separator.c_str());
        const auto pieces = modelPieces(t, separator, fold);

        Texts keep, skip;
        for (auto [start, length] : pieces) {
            keep.push_back(t.substr(start, length));
            if (length > 0) skip.push_back(keep.back());
        }
        for (auto behavior : {kKeep, kSkip}) {
            const Texts& expected = behavior == kKeep ? keep : skip;
            ASSERT_EQ(texts(s.split(sep, behavior, fold ? TStringCore::CaseInsensitive : kSensitive)),
                      expected);
            if (separator.size() == 1 && !fold) {
                ASSERT_EQ(texts(s.split(separator[0], behavior)), expected);
            }
        }
        if (!fold) {
            ASSERT_EQ(text(TStringCore::join(s.split(sep), sep)), t) << "split and join are inverse";
        }

        const int flags = static_cast<int>(random() % 8) | (fold ? 8 : 0);
        std::vector<std::pair<int, int>> fields;
        std::copy_if(pieces.begin(), pieces.end(), std::back_inserter(fields),
                     [flags](auto piece) { return !(flags & 1) || piece.second > 0; });
        const int n = static_cast<int>(fields.size());
        const int first = static_cast<int>(random() % 7) - 3, last = static_cast<int>(random() % 7) - 3;
        const int f = first < 0 ? first + n : first, l = last < 0 ? last + n : last;
        u16string expected;
        if (!t.empty() && f >= 0 && f < n && l >= 0 && l < n) {
            const int width = static_cast<int>(separator.size());
            int begin = fields[f].first, end = fields[l].first + fields[l].second;
            if ((flags & 2) && begin >= width) begin -= width;
            if ((flags & 4) && end + width <= static_cast<int>(t.size())) end += width;
            expected = end < begin ? t.substr(begin) : t.substr(begin, end - begin);
        }
        ASSERT_EQ(text(s.section(separator.c_str(), first, last, TStringCore::SectionFlags(flags))), expected)
            << round << " flags " << flags << " fields " << first << ".." << last;
    }
}

// Empty texts and trailing empties are in the comparison with the model; here the other forms.
TEST(TStringSplit, EmptiesAndZeroTerminatedText) {
    EXPECT_TRUE(TStringCore(u"abc").split(u"", kKeep).empty()); // no parts, not the whole text
    EXPECT_TRUE(TStringCore(u"abc").split(static_cast<char16_t const*>(nullptr)).empty());
    // Zero-terminated: the last part's count is negative, so SkipEmpty drops it.
    EXPECT_EQ(texts(TStringCore::split(u"a,b", -1, u',', kSkip)), Texts{u"a"});
    EXPECT_EQ(texts(TStringCore::split(u"a,b", INT_MIN, u',', kKeep)), (Texts{u"a", u"b"}));
    EXPECT_EQ(texts(TStringCore::split(u"a,b", -1, u",", kKeep, kSensitive)), Texts{u"a,b"});
    EXPECT_EQ(texts(TStringCore::split(nullptr, 0, u',', kKeep)), Texts{u""});
}

TEST(TStringSplit, TokenizeMovesThePositionOneUnitPastEachDelimiter) {
    // Each token followed by '@' and the position after it, plus one.
    auto tokens = [](char16_t const* s, char16_t const* set, TStringCore::SplitBehavior behavior) {
        Texts found;
        for (int position = 0; position >= 0;) {
            const u16string token = text(TStringCore(s).tokenize(set, position, behavior));
            found.push_back(token + u'@' + char16_t(u'1' + position));
        }
        return found;
    };
    EXPECT_EQ(tokens(u",a;;b", u",;", kSkip), (Texts{u"a@4", u"b@0"}));
    EXPECT_EQ(tokens(u",a;;b", u",;", kKeep), (Texts{u"@2", u"a@4", u"@5", u"b@0"}));
    // A set holding a pair splits on its low half.
    EXPECT_EQ(tokens(u"a\U0001F600b", u"\U0001F600", kKeep), (Texts{u"a@3", u"\xDE00"
                                                                            u"b@0"}));
    int position = -1;
    EXPECT_TRUE(TStringCore(u"a").tokenize(TStringCore(u","), position).isEmpty());
    EXPECT_EQ(position, -1);

    EXPECT_EQ(texts(TStringCore(u"").splitOnAny(u",")), Texts{u""});
    EXPECT_EQ(texts(TStringCore(u"a,b").splitOnAny(static_cast<char16_t const*>(nullptr))), Texts{u"a,b"});
    EXPECT_EQ(texts(TStringCore(u";a,b;").splitOnAny(TStringCore(u",;"), kSkip)), (Texts{u"a", u"b"}));
}

TEST(TStringSplit, SectionSpanAndJoin) {
    EXPECT_EQ(text(TStringCore(u"a,b,c").section(u',', 2, 1)), u"c"); // first above last reads on to the end
    EXPECT_EQ(text(TStringCore::section(u"a,b\0c,d", -1, u",", 1, 1, {})), u"b");
    EXPECT_TRUE(TStringCore::section(u"a,b", 3, u"", 0, 0, {}).isEmpty());

    const TStringCore abcab(u"abcab"), long20 = letters(20);
    EXPECT_EQ(text(abcab.spanIncluding(u"ab")), u"ab");
    EXPECT_EQ(text(abcab.spanExcluding(u"c")), u"ab");
    EXPECT_TRUE(abcab.spanIncluding(u"").isEmpty());
    EXPECT_TRUE(long20.spanExcluding(u"#").isShared());

    EXPECT_TRUE(TStringCore::join({}, u',').isEmpty());
    EXPECT_TRUE(TStringCore::join({long20}, u',').isShared());
    EXPECT_EQ(TStringCore::join(std::vector<TStringCore>(3, long20), TStringCore(u"--")).capacity(),
              65); // exact
    // 2048 parts of 2^20 units pass the size limit: refused before anything is allocated.
    const std::vector<TStringCore> huge(2048, letters(1 << 20));
    EXPECT_THROW((void)TStringCore::join(huge, u','), TStringCore::CapacityException);
}

} // namespace
