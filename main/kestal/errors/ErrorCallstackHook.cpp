// The process-wide error-callstack hook. A function-local static, so that static initialisers of
// other files may install or copy it in any order.
#include <kestal/TStackWalker.h>
#include <kestal/detail/ErrorCallstackHook.h>
#include <utility>

namespace {

kestal::detail::ErrorCallstackHook& hookSlot() {
    static kestal::detail::ErrorCallstackHook s_GenerateErrorCallstackHook;
    return s_GenerateErrorCallstackHook;
}

} // namespace

void InjectGenerateErrorCallstackHook(std::function<std::list<std::string>(unsigned int)> hook) {
    auto& slot = hookSlot();
    slot = nullptr; // the old hook is destroyed before the new one moves in
    slot = std::move(hook);
}

kestal::detail::ErrorCallstackHook kestal::detail::CopyErrorCallstackHook() {
    return hookSlot();
}
