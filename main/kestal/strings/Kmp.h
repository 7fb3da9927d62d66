// Knuth-Morris-Pratt search over UTF-16 units: the engine of every case-insensitive substring
// search, and of the editing operations that replace by pattern. Folding is per unit, applied to
// both sides at each comparison; no folded copy of either text is made.
#pragma once

#include <kestal/TStringCore.h>
#include <vector>

namespace kestal::strings {

/// Gives `prefix` `size` entries: prefix[i] is the last index of the longest proper border of
/// pattern[0..i], or -1. A null pattern or a size below 1 leaves the vector as it is.
void kmpComputePrefix(char16_t const* pattern, int size, std::vector<int>& prefix,
                      TStringCore::CaseSensitivity cs);

/// First index of the pattern in `size` units of `text`, with the table kmpComputePrefix made for
/// it under the same `cs`; -1 if none, for a null argument, or for a patternSize below 1.
int kmpMatch(char16_t const* text, int size, char16_t const* pattern, int patternSize,
             std::vector<int> const& prefix, TStringCore::CaseSensitivity cs);

} // namespace kestal::strings
