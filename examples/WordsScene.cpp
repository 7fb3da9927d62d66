// Scene: words. Counts the words of the text case-insensitively and reports them with their
// hashes and a SHA-256 digest of the whole text, while counting the allocations the work made.
#include "TourScenes.h"

#include <algorithm>
#include <iostream>
#include <map>
#include <string>
#include <vector>

namespace tour {

void wordsScene(std::string const& utf8) {
    using namespace velmora::memory;

    MemoryCounter counter;
    SetMemoryTrackingMode(MemoryTrackingMode::AllocationsAndFrees);
    SetBlockSizeAccounting(true);
    {
        const MemoryScope scope(counter);
        const TStringCore text = TStringCore::fromStdString(utf8);
        std::cout << "text: " << text.size() << " code units, " << text.lengthInCodePoints()
                  << " code points, " << utf8.size() << " bytes\n";

        // Words: split on white space and punctuation, fold case, count.
        std::map<std::u16string, int> counts;
        for (TStringCore const& word : text.splitOnAny(u" \n\t.,;!?\u2014", TStringCore::SkipEmpty)) {
            const TStringCore folded = word.toLower();
            ++counts[std::u16string(std::u16string_view(folded))];
        }
        std::vector<std::pair<std::u16string, int>> ranked(counts.begin(), counts.end());
        std::stable_sort(ranked.begin(), ranked.end(),
                         [](auto const& a, auto const& b) { return a.second > b.second; });

        std::cout << "words: " << counts.size() << " distinct\n";
        for (std::size_t i = 0; i < ranked.size() && i < 5; ++i) {
            const TStringCore word(ranked[i].first.data(), static_cast<int>(ranked[i].first.size()));
            const unsigned long hash =
                THash(word.constData(), 2ul * static_cast<unsigned long>(word.size()), 0);
            std::cout << "  " << utf8Of(TStringCore::number(ranked[i].second, 10).rightJustified(3)) << "  "
                      << utf8Of(word.leftJustified(8)) << " hash "
                      << utf8Of(TStringCore::number(static_cast<unsigned long long>(hash), 16)) << '\n';
        }

        // The same text, edited: sentences on one line each, joined.
        std::vector<TStringCore> lines = text.split(u'\n', TStringCore::SkipEmpty);
        std::cout << "lines joined: " << utf8Of(TStringCore::join(lines, u" / ")) << '\n';
        std::cout << "\"fox\" first at unit " << text.indexOf(u"FOX", 0, TStringCore::CaseInsensitive) << ", "
                  << text.count(u"the") << " lower-case \"the\"\n";

        sha2 digest;
        std::cout << "sha-256: "
                  << digest.GetHash(sha2::SHA_256, reinterpret_cast<unsigned char const*>(utf8.data()),
                                    utf8.size())
                  << '\n';
    }
    // The scope has folded its record into the counter; stop counting before printing.
    SetBlockSizeAccounting(false);
    SetMemoryTrackingMode(MemoryTrackingMode::Off);
    std::cout << std::flush;
    counter.PrintToConsole();
}

} // namespace tour
