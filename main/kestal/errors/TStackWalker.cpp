// Call-stack capture through the C library's backtrace and backtrace_symbols, the process-wide
// switches, and TrackThrownExceptions.
#include <cstdlib>
#include <exception>
#include <execinfo.h>
#include <functional>
#include <kestal/OnScopeExit.h>
#include <kestal/TStackWalker.h>
#include <kestal/detail/CallstackLine.h>
#include <regex>
#include <utility>

namespace {

constexpr int kMaxFrames = 200;

} // namespace

// ---- Switches ----------------------------------------------------------------------------------

StackWalkerConfig::StackWalkerConfig() noexcept
    : m_active(false)
    , m_includeThreadInfo(true)
    , m_includeSystemMemoryAddresses(true)
    , m_includeFileLineNumber(true)
    , m_includeFileName(true) {}

StackWalkerConfig::~StackWalkerConfig() = default;

StackWalkerConfig& TStackWalker::GetStackWalkerConfig() {
    static StackWalkerConfig s_config;
    return s_config;
}

bool TStackWalker::InitSym(bool active) {
    auto& flag = GetStackWalkerConfig().m_active;
    // A load and a store, not an exchange: concurrent callers may each see the same old value.
    const bool old = flag.load();
    flag.store(active);
    return old;
}

bool TStackWalker::IsActive() {
    return GetStackWalkerConfig().m_active.load();
}

void TStackWalker::IncludeThreadInfo(bool include) {
    GetStackWalkerConfig().m_includeThreadInfo.store(include);
}

void TStackWalker::IncludeSystemMemoryAddresses(bool include) {
    GetStackWalkerConfig().m_includeSystemMemoryAddresses.store(include);
}

void TStackWalker::IncludeFileLineNumber(bool include) {
    GetStackWalkerConfig().m_includeFileLineNumber.store(include);
}

void TStackWalker::IncludeFileName(bool include) {
    GetStackWalkerConfig().m_includeFileName.store(include);
}

// ---- Capture -----------------------------------------------------------------------------------

TStackWalker::TStackWalker() = default;
TStackWalker::~TStackWalker() = default;

bool TStackWalker::GenerateCallstack() noexcept {
    if (!IsActive()) return false;
    try {
        std::list<std::string> lines = GenerateCallstackImpl(GetStackWalkerConfig());
        m_collected.clear();
        m_collected.splice(m_collected.end(), lines);
    } catch (...) {
        return false; // the earlier lines stay
    }
    return !m_collected.empty();
}

std::list<std::string> TStackWalker::GenerateCallstackImpl(StackWalkerConfig const& config) const {
    void* frames[kMaxFrames];
    const int count = backtrace(frames, kMaxFrames);
    char** symbols = backtrace_symbols(frames, count);
    if (!symbols) return {};
    OnScopeExit<std::function<void()>> freeSymbols([symbols] { std::free(symbols); });
    // Read once, so that one capture is all raw or all cleaned.
    const bool raw = config.m_includeSystemMemoryAddresses.load();
    std::list<std::string> lines;
    for (int i = 0; i < count; ++i)
        lines.push_back(raw ? std::string(symbols[i]) : kestal::detail::CleanCallstackLine(symbols[i]));
    return lines;
}

std::string kestal::detail::CleanCallstackLine(std::string const& line) {
    // Built per line, with no cache: capture runs on error paths only. The C library's lines here
    // ("lib.so(f+0x1f) [0x7f...]") hold neither form, so they pass unchanged.
    const std::regex address("0x[0-9a-fA-F]{16}");
    const std::regex offset("\\s\\+\\s[0-9a-fA-F]*$");
    return std::regex_replace(std::regex_replace(line, address, ""), offset, "");
}

// ---- TrackThrownExceptions ---------------------------------------------------------------------

TrackThrownExceptions::TrackThrownExceptions() noexcept
    : m_uncaughtExceptions(std::uncaught_exceptions()) {}

bool TrackThrownExceptions::ExceptionWasThrownSinceConstruction() const noexcept {
    return std::uncaught_exceptions() != m_uncaughtExceptions;
}
