// unmangleClassName hands outside bytes to the C++ runtime's demangler: whatever comes in, the
// result is either "class " and the demangled text, or the input itself read as UTF-8.
#include "FuzzCheck.h"

#include <cstddef>
#include <cstdint>
#include <kestal/TSystem.h>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    if (size > 4096) return 0;
    const std::string name(reinterpret_cast<char const*>(data), size); // read up to its first zero
    const TStringCore result = TSystem::unmangleClassName(name.c_str());
    FUZZ_CHECK(result.startsWith(u"class ") || result == TStringCore::fromUtf8(name.c_str()));
    return 0;
}
