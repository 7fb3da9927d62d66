// Process and host facts: the portable half. Platform queries come from TSystemPlatform.h.
#include "kestal/system/TSystemPlatform.h"

#include <chrono>
#include <cstdlib>
#include <cxxabi.h>
#include <kestal/TSystem.h>
#include <kestal/detail/TSystemTesting.h>
#include <memory>
#include <thread>
#include <utility>

namespace {

// Made by a static initialiser, empty; set at start-up and read without a lock.
std::function<bool()> s_desktopMainThreadFunc;

// The start stamp of AppUpTime: taken by the initialiser below at load time, or by AppUpTime
// itself if another library's initialiser calls it first.
std::uint64_t StartStamp() noexcept {
    static std::uint64_t const stamp = kestal::system::MonotonicNanoseconds();
    return stamp;
}
[[maybe_unused]] std::uint64_t const s_startStampAtLoad = StartStamp();

TPathCore PathFromBytes(std::string const& bytes) {
    return TPathCore(TStringCore::fromLocal8Bit(bytes));
}

TPathCore ParentOrSelf(TPathCore const& path) {
    TPathCore parent = path.Parent();
    return parent.IsEmpty() ? path : parent;
}

struct FreeText {
    void operator()(char* text) const noexcept { std::free(text); }
};

} // namespace

std::uint32_t kestal::detail::UpTimeMilliseconds(std::uint64_t elapsedNanoseconds) noexcept {
    // Clamped in integers: converting a too-large value to 32 bits would wrap (or, from a double,
    // be undefined).
    std::uint64_t const ms = elapsedNanoseconds / 1000000u;
    return ms > 0xFFFFFFFFu ? 0xFFFFFFFFu : static_cast<std::uint32_t>(ms);
}

char const* TSystem::Local8BitEncoding() noexcept {
    return "UTF-8";
}

void TSystem::Sleep(unsigned int milliseconds) {
    if (milliseconds == 0) return;
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

TPathCore TSystem::ExecutableFilename() {
    return PathFromBytes(kestal::system::ExecutableBytes());
}

TPathCore TSystem::ExecutablePath() {
    return ParentOrSelf(ExecutableFilename());
}

TPathCore TSystem::ModulePath(TPathCore const& name) {
    if (!name.HasFilename()) return {};
    TPathCore const wanted = name.Filename();
    for (std::string const& image : kestal::system::LoadedImagePaths()) {
        TPathCore path = PathFromBytes(image);
        if (path.Filename() == wanted) return path;
    }
    return {};
}

TPathCore TSystem::ModuleFilename(void const* address) {
    if (address == nullptr) return ExecutableFilename();
    std::string image;
    if (!kestal::system::ImageOfAddress(address, image)) return {};
    return PathFromBytes(image);
}

TPathCore TSystem::ModuleDirectory(void const* address) {
    return ParentOrSelf(ModuleFilename(address));
}

TSystem::MemoryInfo TSystem::Memory() {
    MemoryInfo info;
    kestal::system::ReadHostMemory(info);
    info.usedBytes = info.totalBytes - info.availableBytes;
    info.load = info.totalBytes == 0 ? 0 : static_cast<std::uint32_t>(info.usedBytes * 100 / info.totalBytes);
    return info;
}

TStringCore TSystem::unmangleClassName(char const* name) {
    if (name == nullptr) return {};
    int status = 0;
    std::unique_ptr<char, FreeText> const text(abi::__cxa_demangle(name, nullptr, nullptr, &status));
    if (text == nullptr) return TStringCore::fromUtf8(name);
    // Kept on purpose: callers expect the prefix on whatever demangles, functions included.
    return u"class " + TStringCore::fromStdString(text.get());
}

std::function<bool()> TSystem::SetDesktopMainThreadFunc(std::function<bool()> func) {
    return std::exchange(s_desktopMainThreadFunc, std::move(func));
}

bool TSystem::IsDesktopMainThread() {
    return s_desktopMainThreadFunc ? s_desktopMainThreadFunc() : false;
}

std::uint32_t TSystem::AppUpTime() noexcept {
    std::uint64_t const start = StartStamp();
    std::uint64_t const now = kestal::system::MonotonicNanoseconds();
    return kestal::detail::UpTimeMilliseconds(now > start ? now - start : 0);
}
