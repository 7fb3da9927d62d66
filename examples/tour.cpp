// A short tour of libkestal: builds UTF-16 strings, shares and edits them, compares them with
// and without case, and counts the allocations the work made.
#include <cstdio>
#include <kestal/kestal.h>
#include <string>

namespace {

// Prints ASCII text as is and anything else as \uXXXX; UTF-8 output arrives with the conversion layer.
void print(char const* label, TStringCore const& s) {
    std::string out;
    for (char16_t unit : s) {
        if (unit >= 0x20 && unit < 0x7F) {
            out += static_cast<char>(unit);
        } else {
            char escape[8];
            std::snprintf(escape, sizeof escape, "\\u%04X", static_cast<unsigned>(unit));
            out += escape;
        }
    }
    std::printf("%-28s \"%s\" (%d units%s)\n", label, out.c_str(), s.size(), s.isShared() ? ", shared" : "");
}

} // namespace

int main() {
    using namespace velmora::memory;

    // Count this thread's allocations while the tour runs.
    ThreadMemoryCounters counters;
    SetMemoryTrackingMode(MemoryTrackingMode::AllocationsAndFrees);
    ThreadMemoryCounters* previous = SwapPushMemoryCounters(&counters);
    {
        TStringCore greeting(u"Hello");
        print("short string (inline)", greeting);

        TStringCore sentence = greeting + u", wide world of UTF-16 text";
        print("concatenated (long)", sentence);

        TStringCore copy = sentence; // shares the block: no copy of the text
        print("copy shares", copy);

        copy.replace(7, 4, u"small").append(u'!');
        print("edited copy detached", copy);
        print("original untouched", sentence);

        copy.insert(0, u"\u00C4 ");
        print("with a non-ASCII unit", copy);
        std::printf("compare(\"HELLO\", \"hello\", CaseInsensitive) = %d\n",
                    TStringCore(u"HELLO").compare(u"hello", TStringCore::CaseInsensitive));
        std::printf("compare(\"HELLO\", \"hello\")                  = %d\n",
                    TStringCore(u"HELLO").compare(u"hello"));

        print("mid(7, 5)", sentence.mid(7, 5));
        print("left(100) shares", sentence.left(100));

        TStringCore built;
        for (int i = 0; i < 1000; ++i)
            built.push_back(static_cast<char16_t>(u'a' + i % 26));
        std::printf("1000 appends: capacity %d\n", built.capacity());
    }
    SwapPushMemoryCounters(previous);
    SetMemoryTrackingMode(MemoryTrackingMode::Off);
    std::printf("allocation events %u, free events %u\n", counters.allocatedCount, counters.deallocatedCount);
    return 0;
}
