// Process and host facts.
#include <kestal/TSystem.h>

char const* TSystem::Local8BitEncoding() noexcept {
    return "UTF-8";
}
