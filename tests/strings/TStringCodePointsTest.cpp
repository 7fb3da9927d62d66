// TStringCore by code points: the iterator's walk, its ends and its same-string test, UTF-8
// input, the code point measures, editing at an iterator, replacement by code points and stream
// output.
#include "TStringTestSupport.h"

#include <cstring>
#include <kestal/TConstCodePointIterator.h>
#include <sstream>
#include <sys/mman.h>
#include <unistd.h>

using namespace kestal::testing;
using Iterator = TConstCodePointIterator<TStringCore>;

TEST(TConstCodePointIterator, WalksForwardAndBackByCodePoints) {
    const TStringCore mixed(u"a\U0001F600b"); // 4 units, 3 code points
    std::u32string seen;
    for (Iterator it = mixed.codepoint_cbegin(); it != mixed.codepoint_cend(); ++it)
        seen += *it;
    EXPECT_EQ(seen, U"a\U0001F600b");
    const Iterator second(mixed, 2);
    EXPECT_EQ(std::pair(second.position(), second.index()), std::pair(3, 2));
    EXPECT_TRUE(Iterator(mixed, 3).isEnd() && Iterator(mixed, 99).isEnd());
    const TStringCore empty; // index 0 stays put, even with nothing there
    EXPECT_TRUE(empty.codepoint_cbegin() == empty.codepoint_cend() && Iterator(empty, 0).position() == 0);

    // Back from the end the number is unknown until the start makes it known again.
    Iterator it = mixed.codepoint_cend();
    for (auto expected : {std::pair(3, -1), std::pair(1, -1), std::pair(0, 0)}) {
        --it;
        EXPECT_EQ(std::pair(it.position(), it.index()), expected);
    }
    expectRuntimeError([&] { --it; },
                       "CodePointIterator<>::operator--: attempted to decrement iterator past the "
                       "begining of the string.");
    expectRuntimeError([&] { (void)Iterator(mixed, -2); },
                       "CodePointIterator<>::operator++: m_position[0] is out of range.");
    expectRuntimeError([&] { ++mixed.codepoint_cend(); },
                       "CodePointIterator<>::operator++: attempted to increment "
                       "the iterator past the end of the string.");

    // A lone low surrogate cannot be stepped from: the walk ends there.
    const TStringCore lone(u"a\xDC00x");
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
    TStringCore a = letters(20), other(u"xy");
    const TStringCore shared = a;
    EXPECT_TRUE(a.codepoint_cbegin() == shared.codepoint_cbegin()); // copies sharing one block pass
    a.data();                                                       // detaches
    const std::string foreign = " iterators do not reference the same underlying string.";
    expectRuntimeError([&] { (void)(a.codepoint_cbegin() == shared.codepoint_cbegin()); },
                       "operator==" + foreign);
    expectRuntimeError([&] { (void)(a.codepoint_cbegin() != shared.codepoint_cbegin()); },
                       "operator!=" + foreign);
    expectRuntimeError([&] { other.insert(a.codepoint_cbegin(), u"!"); }, "operator==" + foreign);
    expectRuntimeError([&] { other.removeAt(a.codepoint_cbegin(), 1); }, "operator==" + foreign);
}

TEST(TStringCodePoints, Utf8InputConvertsThroughIcu) {
    EXPECT_TRUE(TStringCore::fromUtf8(nullptr, 5).isEmpty() && TStringCore::fromUtf8("abc", 0).isEmpty());
    EXPECT_EQ(text(TStringCore::fromUtf8("a\xC0\x80-\xF0\x9F\x98\x80")), u"a\xFFFD\xFFFD-\U0001F600");
    EXPECT_EQ(text(TStringCore::fromStdString(std::string("a\0\xC3\xA9", 4))),
              std::u16string(u"a\0\u00E9", 3));

    // The worst case of one unit a byte is reserved and cut back; a shared block is left alone.
    TStringCore s = letters(16);
    const TStringCore before = s;
    s.append("\xE2\x82\xAC\xE2\x82\xAC");
    EXPECT_EQ(text(s) + u"|" + text(before), text(letters(16)) + u"\u20AC\u20AC|" + text(letters(16)));
    EXPECT_EQ(text(s.assign("\xF0\x9F\x98\x80", 4)), u"\U0001F600");
}

TEST(TStringCodePoints, Utf8InputOf2GiBIsTooLong) {
    // 2^31 bytes of 'a' and a zero, from one 2 MiB chunk mapped 1024 times: no real 2 GiB needed.
    constexpr std::size_t chunk = std::size_t(1) << 21, total = std::size_t(1) << 31;
    auto* base = static_cast<char*>(
        mmap(nullptr, total + 4096, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0));
    ASSERT_NE(base, MAP_FAILED);
    const int fd = memfd_create("letters", 0);
    ASSERT_TRUE(fd >= 0 && ftruncate(fd, chunk) == 0);
    for (std::size_t at = 0; at < total; at += chunk)
        ASSERT_EQ(mmap(base + at, chunk, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_FIXED, fd, 0), base + at);
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
    // A pair cut by the count counts whole; from inside the pair the walk goes unit by unit.
    const TStringCore s(u"\U0001F600b");
    EXPECT_EQ(std::tuple(s.subStringSizeInCodePoints(0, 1), s.subStringSizeInCodePoints(0, -1),
                         s.subStringSizeInCodePoints(1, -1), s.subStringSizeInCodePoints(3, 1),
                         s.subStringSizeInCodeUnits(3, 1)),
              std::tuple(1, 2, 2, 0, 0));
}

TEST(TStringCodePoints, ReplaceAndFillWriteOneUnitPerCodePoint) {
    EXPECT_EQ(text(TStringCore(u"\U0001F600c").replace(0, 3, u'x')), u"xx");
    // The count ends inside the pair: its low half stays behind.
    EXPECT_EQ(text(TStringCore(u"a\U0001F600z").replace(0, 2, u'x')), u"xx\xDE00z");
    for (auto [pos, count] : {std::pair(-1, 1), std::pair(4, 1), std::pair(0, 0)})
        EXPECT_EQ(text(TStringCore(u"a\U0001F600b").replace(pos, count, u'x')), u"a\U0001F600b");

    TStringCore shared = letters(15);
    shared.append(u"\U0001F600z");
    const TStringCore copy = shared;
    shared.replace(Iterator::createFromIndex(shared, 15), 2, u'!');
    EXPECT_EQ(text(shared), text(letters(15)) + u"!z");
    EXPECT_EQ(copy.size(), 18);
    EXPECT_EQ(text(shared.replace(shared.codepoint_cend(), 1, u'x')), text(letters(15)) + u"!z");

    TStringCore filled(u"\U0001F600c");
    EXPECT_EQ(text(filled.fill(u'y')), u"yy");
    EXPECT_EQ(text(filled.fill(u'z', 3)), u"zzz");
}

TEST(TStringCodePoints, EditingAndSubstringsAtIterators) {
    const TStringCore s(u"\U0001F600cd");
    const Iterator c(s, 1), d(s, 2);
    EXPECT_EQ(text(s.mid(s.codepoint_cbegin(), 1)) + u"|" + text(s.mid(s.codepoint_cbegin(), -1)) + u"|" +
                  text(s.mid(c, d)) + u"|" + text(s.mid(c, s.codepoint_cend())),
              u"\U0001F600|\U0001F600cd|c|cd");
    EXPECT_TRUE(s.mid(s.codepoint_cbegin(), -2).isEmpty() && s.mid(d, c).isEmpty() && s.mid(c, c).isEmpty());
    const TStringCore longer = letters(20);
    EXPECT_FALSE(longer.mid(longer.codepoint_cbegin(), -1).isShared()); // always a new block

    TStringCore t(u"a\U0001F600b");
    EXPECT_EQ(t.getInsertCodeUnitIndex(t.codepoint_cend()), 4);
    t.insert(t.codepoint_cend(), u"!").insert(Iterator(t, 1), TStringCore(u"-"));
    t.removeAt(t.codepoint_cend(), 2).truncate(t.codepoint_cend());
    EXPECT_EQ(text(t), u"a-\U0001F600b!");
    EXPECT_EQ(text(t.removeAt(Iterator(t, 2), 2)), u"a-b!");
    EXPECT_EQ(text(t.truncate(Iterator(t, 1))), u"a");
}

TEST(TStringCodePoints, StreamOutputIsQuotedUtf8) {
    std::ostringstream out;
    out << TStringCore(u"say \"h\u00E9\"") << '|' << u'\xD800' << '|' << u'\0' << '|' << u'\u20AC';
    EXPECT_EQ(out.str(), "\"say \"h\xC3\xA9\"\"|\xEF\xBF\xBD||\xE2\x82\xAC");
}
