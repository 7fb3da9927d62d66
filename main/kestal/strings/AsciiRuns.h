// Runs of ASCII in UTF-8, widened at memory speed: ASCII converts the same under every engine, so
// the conversions hand only what follows a run to the general code. The AVX2 form is chosen once,
// at load, where the processor and the system support it; SSE2 serves every other x86-64.
#pragma once

namespace kestal::strings {

/// Widens the ASCII bytes at the start of `length` bytes of `text` to UTF-16 units at `out`, and
/// returns how many there were; nothing is written beyond them.
int widenAsciiPrefix(char const* text, int length, char16_t* out) noexcept;

} // namespace kestal::strings
