// Call stacks as text lines, for diagnostics: process-wide switches (StackWalkerConfig), the
// collecting object (TStackWalker) and the error-callstack hook that lets an application give every
// TError::ErrorInfo a call stack; the library installs no hook by itself. TrackThrownExceptions, a
// small aid for destructors, lives here too.
#pragma once

#include <atomic>
#include <functional>
#include <kestal/KestalExport.h>
#include <list>
#include <string>

/// The switches of call-stack capture, sequentially consistent atomics. Only m_active and
/// m_includeSystemMemoryAddresses change what a capture gives; the other three are stored only.
struct KESTAL_API StackWalkerConfig {
    StackWalkerConfig() noexcept;
    ~StackWalkerConfig();

    std::atomic<bool> m_active;                       ///< false: GenerateCallstack does nothing
    std::atomic<bool> m_includeThreadInfo;            ///< true; stored only
    std::atomic<bool> m_includeSystemMemoryAddresses; ///< true: lines raw; false: addresses cleaned
    std::atomic<bool> m_includeFileLineNumber;        ///< true; stored only
    std::atomic<bool> m_includeFileName;              ///< true; stored only
};

/// Captures the calling thread's stack as the lines the C library prints for it, innermost frame
/// first, the walker's own frames included, at most 200 lines, names not demangled. One object
/// per thread; the switches are process-wide.
class KESTAL_API TStackWalker {
public:
    TStackWalker();
    virtual ~TStackWalker();

    /// The process-wide switches.
    static StackWalkerConfig& GetStackWalkerConfig();
    /// Sets the active switch and returns its value from before (a load, then a store: two
    /// concurrent calls may both see the same old value).
    static bool InitSym(bool active);
    static bool IsActive();
    static void IncludeThreadInfo(bool include);
    /// False makes captures drop 16-digit "0x" addresses and a trailing " + offset" from each line.
    static void IncludeSystemMemoryAddresses(bool include);
    static void IncludeFileLineNumber(bool include);
    static void IncludeFileName(bool include);

    /// When active, replaces the collected lines by a new capture and returns whether it holds a
    /// line. Inactive, or on any failure, returns false and keeps the lines as they were.
    bool GenerateCallstack() noexcept;
    /// The lines of the last successful capture.
    std::list<std::string> const& GetCollected() const { return m_collected; }
    /// A capture under `config`, whatever its active switch. Raises what allocation or the regular
    /// expressions raise; empty when the C library gives no symbols.
    std::list<std::string> GenerateCallstackImpl(StackWalkerConfig const& config) const;

private:
    std::list<std::string> m_collected;
};

/// Installs the process-wide error-callstack hook: the old hook is destroyed, then `hook` is moved
/// in; an empty function leaves no hook. Not synchronised: install it before other threads build
/// error records.
KESTAL_API void InjectGenerateErrorCallstackHook(std::function<std::list<std::string>(unsigned int)> hook);

/// Tells a destructor whether an exception began since construction: build it at the start of a
/// scope, ask at the end. Copies keep the construction's count.
class KESTAL_API TrackThrownExceptions {
public:
    TrackThrownExceptions() noexcept;
    /// True when std::uncaught_exceptions() differs from its value at construction, either way.
    bool ExceptionWasThrownSinceConstruction() const noexcept;

private:
    int m_uncaughtExceptions;
};
