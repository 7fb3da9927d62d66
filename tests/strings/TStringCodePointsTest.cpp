// TStringCore by code points: the iterator's walk, its ends and its same-string test, UTF-8
// input, the code point measures, editing at an iterator, replacement by code points and stream
// output.
#include "TStringTestSupport.h"

#include <cstring>
#include <gtest/gtest.h>
#include <kestal/TConstCodePointIterator.h>
#include <kestal/TStringCore.h>
#include <sstream>
#include <stdexcept>
#include <string>
#include <sys/mman.h>
#include <unistd.h>

using kestal::testing::expectRuntimeError;
using kestal::testing::expectStringException;
using kestal::testing::letters;
using kestal::testing::text;
using Iterator = TConstCodePointIterator<TStringCore>;

namespace {

// "a", U+1F600 (a pair), "b": 4 units, 3 code points.
TStringCore const kMixed(u"a\U0001F600b");

} // namespace

TEST(TConstCodePointIterator, WalksForwardAndBackByCodePoints) {
    std::u32string seen;
    for (Iterator it = kMixed.codepoint_cbegin(); it != kMixed.codepoint_cend(); ++it)
        seen += *it;
    EXPECT_EQ(seen, U"a\U0001F600b");

    const Iterator second(kMixed, 2);
    EXPECT_EQ(std::pair(second.position(), second.index()), std::pair(3, 2));
    EXPECT_TRUE(Iterator(kMixed, 3).isEnd() && Iterator(kMixed, 99).isEnd());
    const TStringCore empty;
    EXPECT_EQ(Iterator(empty, 0).position(), 0); // index 0 stays put, even with nothing there
    EXPECT_TRUE(empty.codepoint_cbegin() == empty.codepoint_cend());

    // Back from the end the number is unknown until the start makes it known again.
    Iterator it = kMixed.codepoint_cend();
    for (auto expected : {std::pair(3, -1), std::pair(1, -1), std::pair(0, 0)}) {
        --it;
        EXPECT_EQ(std::pair(it.position(), it.index()), expected);
    }
    expectRuntimeError([&] { --it; },
                       "CodePointIterator<>::operator--: attempted to decrement iterator past the "
                       "begining of the string.");
    expectRuntimeError([] { (void)Iterator(kMixed, -2); },
                       "CodePointIterator<>::operator++: m_position[0] is out of range.");
    expectRuntimeError([] { ++kMixed.codepoint_cend(); },
                       "CodePointIterator<>::operator++: attempted to increment "
                       "the iterator past the end of the string.");

    // A lone low surrogate cannot be stepped from: the walk ends there.
    const TStringCore lone(u"a\xDC00"
                           u"b");
    Iterator at(lone, 1);
    EXPECT_EQ(*at, 0xFFFDu);
    EXPECT_TRUE((++at).isEnd());
}

TEST(TConstCodePointIterator, CreateFromIndexChecksTheUnit) {
    const TStringCore s(u"a\U0001F600bc");
    EXPECT_TRUE(Iterator::createFromIndex(s, -1, 4).isEnd() && Iterator::createFromIndex(s, 5, 4).isEnd());
    const Iterator nextToLast = Iterator::createFromIndex(s, -2, 7);
    EXPECT_EQ(std::pair(nextToLast.position(), nextToLast.index()), std::pair(3, 7));
    EXPECT_EQ(Iterator::createFromIndex(s, 0, 9).index(), 0);
    for (int bad : {6, -6})
        expectRuntimeError([&] { Iterator::createFromIndex(s, bad, 0); },
                           "TStringCore::createFromIndex codeUnitIndex is out of range.");
    expectRuntimeError(
        [&] { Iterator::createFromIndex(s, 2, 0); },
        "TStringCore::createFromIndex codeUnitIndex does not reference the begining of a code point.");
}

TEST(TConstCodePointIterator, SameStringMeansSameTextBlock) {
    TStringCore a = letters(20);
    const TStringCore shared = a;
    EXPECT_TRUE(a.codepoint_cbegin() == shared.codepoint_cbegin()); // copies sharing one block pass
    a.data();                                                       // detaches
    expectRuntimeError([&] { (void)(a.codepoint_cbegin() == shared.codepoint_cbegin()); },
                       "operator== iterators do not reference the same underlying string.");
    expectRuntimeError([&] { (void)(a.codepoint_cbegin() != shared.codepoint_cbegin()); },
                       "operator!= iterators do not reference the same underlying string.");
    TStringCore other(u"xy");
    expectRuntimeError([&] { other.insert(a.codepoint_cbegin(), u"!"); },
                       "operator== iterators do not reference the same underlying string.");
    expectRuntimeError([&] { other.removeAt(a.codepoint_cbegin(), 1); },
                       "operator== iterators do not reference the same underlying string.");
}

TEST(TStringCodePoints, Utf8InputConvertsThroughIcu) {
    EXPECT_TRUE(TStringCore::fromUtf8(nullptr, 5).isEmpty());
    EXPECT_TRUE(TStringCore::fromUtf8("abc", 0).isEmpty());
    EXPECT_EQ(text(TStringCore::fromUtf8("a\xC0\x80"
                                         "b\xF0\x9F\x98\x80")),
              u"a\xFFFD\xFFFD"
              u"b\U0001F600");
    EXPECT_EQ(text(TStringCore::fromStdString(std::string("a\0\xC3\xA9", 4))),
              std::u16string(u"a\0\u00E9", 3));

    // The worst case of one unit a byte is reserved and cut back; a shared block is left alone.
    TStringCore s = letters(16);
    const TStringCore before = s;
    s.append("\xE2\x82\xAC\xE2\x82\xAC");
    EXPECT_EQ(text(s), text(before) + u"\u20AC\u20AC");
    EXPECT_EQ(text(before), text(letters(16)));
    s.assign("\xF0\x9F\x98\x80", 4);
    EXPECT_EQ(text(s), u"\U0001F600");
}

TEST(TStringCodePoints, Utf8InputOf2GiBIsTooLong) {
    // 2^31 bytes of 'a' and a zero, from one 2 MiB chunk mapped 1024 times: no real 2 GiB needed.
    constexpr std::size_t chunk = std::size_t(1) << 21, total = std::size_t(1) << 31;
    auto* base = static_cast<char*>(
        mmap(nullptr, total + 4096, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0));
    ASSERT_NE(base, MAP_FAILED);
    const int fd = memfd_create("letters", 0);
    ASSERT_GE(fd, 0);
    ASSERT_EQ(ftruncate(fd, chunk), 0);
    for (std::size_t at = 0; at < total; at += chunk) {
        void* piece = mmap(base + at, chunk, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_FIXED, fd, 0);
        ASSERT_EQ(piece, base + at);
    }
    std::memset(base, 'a', chunk);
    ASSERT_EQ(mmap(base + total, 4096, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED, -1, 0),
              base + total);
    TStringCore s;
    expectStringException<TStringCore::Exception>([&] { s.append(base, -1); },
                                                  u"Appended string is too long");
    EXPECT_TRUE(s.isEmpty());
    munmap(base, total + 4096);
    close(fd);
}

TEST(TStringCodePoints, MeasuresCountCodePoints) {
    const TStringCore s(u"\U0001F600b");
    EXPECT_EQ(s.subStringSizeInCodePoints(0, 1), 1); // a pair cut by the count counts whole
    EXPECT_EQ(s.subStringSizeInCodePoints(0, -1), 2);
    EXPECT_EQ(s.subStringSizeInCodePoints(1, -1), 2); // from inside the pair, unit by unit
    EXPECT_EQ(s.subStringSizeInCodePoints(3, 1), 0);
    EXPECT_EQ(s.subStringSizeInCodeUnits(3, 1), 0);
}

TEST(TStringCodePoints, ReplaceAndFillWriteOneUnitPerCodePoint) {
    TStringCore s(u"\U0001F600c");
    s.replace(0, 3, u'x');
    EXPECT_EQ(text(s), u"xx");

    TStringCore cut(u"a\U0001F600b");
    cut.replace(0, 2, u'x'); // the count ends inside the pair: its low half stays behind
    EXPECT_EQ(text(cut), u"xx\xDE00"
                         u"b");

    TStringCore shared = letters(15);
    shared.append(u"\U0001F600z");
    const TStringCore copy = shared;
    shared.replace(Iterator::createFromIndex(shared, 15), 2, u'!');
    EXPECT_EQ(text(shared), text(letters(15)) + u"!z");
    EXPECT_EQ(copy.size(), 18);

    for (auto [pos, count] : {std::pair(-1, 1), std::pair(4, 1), std::pair(0, 0)}) {
        TStringCore same(u"a\U0001F600b");
        same.replace(pos, count, u'x');
        EXPECT_EQ(text(same), u"a\U0001F600b");
    }
    TStringCore viaEnd(u"ab");
    EXPECT_EQ(text(viaEnd.replace(viaEnd.codepoint_cend(), 1, u'x')), u"ab");

    TStringCore filled(u"\U0001F600c");
    EXPECT_EQ(text(filled.fill(u'y')), u"yy");
    EXPECT_EQ(text(filled.fill(u'z', 3)), u"zzz");
}

TEST(TStringCodePoints, EditingAndSubstringsAtIterators) {
    const TStringCore s(u"\U0001F600cd");
    EXPECT_EQ(text(s.mid(s.codepoint_cbegin(), 1)), u"\U0001F600");
    EXPECT_EQ(text(s.mid(s.codepoint_cbegin(), -1)), u"\U0001F600cd");
    EXPECT_TRUE(s.mid(s.codepoint_cbegin(), -2).isEmpty());
    const Iterator c(s, 1), d(s, 2);
    EXPECT_EQ(text(s.mid(c, d)), u"c");
    EXPECT_TRUE(s.mid(d, c).isEmpty() && s.mid(c, c).isEmpty());
    EXPECT_EQ(text(s.mid(c, s.codepoint_cend())), u"cd");

    const TStringCore longer = letters(20);
    EXPECT_FALSE(longer.mid(longer.codepoint_cbegin(), -1).isShared()); // always a new block

    TStringCore t(u"a\U0001F600b");
    EXPECT_EQ(t.getInsertCodeUnitIndex(t.codepoint_cend()), 4);
    t.insert(t.codepoint_cend(), u"!");
    t.insert(Iterator(t, 1), TStringCore(u"-"));
    EXPECT_EQ(text(t), u"a-\U0001F600b!");
    t.removeAt(t.codepoint_cend(), 2);
    t.truncate(t.codepoint_cend());
    EXPECT_EQ(text(t), u"a-\U0001F600b!");
    t.removeAt(Iterator(t, 2), 2);
    EXPECT_EQ(text(t), u"a-b!");
    t.truncate(Iterator(t, 1));
    EXPECT_EQ(text(t), u"a");
}

TEST(TStringCodePoints, StreamOutputIsQuotedUtf8) {
    std::ostringstream out;
    out << TStringCore(u"say \"h\u00E9\"") << '|' << u'\xD800' << '|' << u'\0' << '|' << u'\u20AC';
    EXPECT_EQ(out.str(), "\"say \"h\xC3\xA9\"\"|\xEF\xBF\xBD||\xE2\x82\xAC");
}
