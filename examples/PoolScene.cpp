// Scene: the thread pool. The text's lines are cut into chunks whose words are counted on the
// process-wide pool of two workers; a countdown event says when every chunk is done. One more
// chunk runs on a dedicated thread of its own. Both process-wide singletons are ended at the close.
#include "TourScenes.h"

#include <atomic>
#include <chrono>
#include <iostream>

namespace tour {

namespace {

long countWords(std::vector<TStringCore> const& lines, std::size_t from, std::size_t to) {
    long words = 0;
    for (std::size_t i = from; i < to; ++i)
        words += static_cast<long>(lines[i].splitOnAny(u" \t.,;!?\u2014", TStringCore::SkipEmpty).size());
    return words;
}

} // namespace

void poolScene(std::string const& utf8) {
    using std::chrono::milliseconds;
    TThreadPool::Configure(2, {}, {},
                           [](TStringCore line) { std::cout << "pool: " << utf8Of(line) << '\n'; });
    const std::vector<TStringCore> lines = TStringCore::fromStdString(utf8).split(u"\n");
    constexpr std::size_t kChunks = 4;
    const std::size_t perChunk = (lines.size() + kChunks - 1) / kChunks;

    std::atomic<long> words{0};
    TCountdownEvent chunksDone(kChunks);
    TThreadPool& pool = TThreadPool::Get();
    for (std::size_t c = 0; c < kChunks; ++c) {
        const std::size_t from = std::min(lines.size(), c * perChunk),
                          to = std::min(lines.size(), from + perChunk);
        pool.AddWork(
            [&, from, to] {
                words += countWords(lines, from, to);
                chunksDone.Signal();
            },
            TThreadPoolWork::AlwaysQueue);
    }
    const bool counted = chunksDone.Wait(milliseconds(5000));

    // The whole text once more, on a thread started for it.
    TEvent dedicatedDone;
    long again = 0;
    NonThreadPoolWorkerManager::Get().RunTask([&] {
        again = countWords(lines, 0, lines.size());
        dedicatedDone.Signal();
    });
    const bool recounted = dedicatedDone.Wait(milliseconds(5000));

    const bool poolEnded = TThreadPool::Shutdown(milliseconds(5000));
    const bool workersEnded = NonThreadPoolWorkerManager::Shutdown(milliseconds(5000));
    std::cout << "pool: " << words.load() << " words in " << kChunks << " chunks on "
              << (counted ? "the pool" : "the pool (timed out)") << ", " << again << " on a dedicated thread"
              << (recounted && again == words.load() ? " (the same)" : " (differs)") << "; shut down "
              << (poolEnded && workersEnded ? "cleanly" : "late") << '\n';
}

} // namespace tour
