// Scene: cancellation. Three workers count the text's letters over and over, each under its own
// child of one cancel root, polling its child between passes. One Signal of the root reaches all
// three; the main thread then waits, with a timeout, until every worker has said it stopped.
#include "TourScenes.h"

#include <array>
#include <chrono>
#include <iostream>
#include <thread>
#include <vector>

namespace tour {

void cancelScene(std::string const& utf8) {
    const TStringCore text = TStringCore::fromStdString(utf8);
    const RefCntPtr<TCancelEvent> root = MakeRefCnt<TCancelEvent>();
    std::array<TEvent, 3> done;
    TCountdownEvent started(static_cast<unsigned int>(done.size()));
    std::array<long, 3> passes{};
    std::vector<std::thread> workers;
    for (std::size_t w = 0; w < done.size(); ++w) {
        const RefCntPtr<TCancelEvent> cancel = MakeRefCnt<TCancelEvent>();
        root->Add(cancel);
        workers.emplace_back([cancel, &finished = done[w], &count = passes[w], &started, &text] {
            started.Signal();
            while (!cancel->IsSet()) { // one cheap atomic load per pass
                long letters = 0;
                for (char16_t unit : text)
                    letters += TCType::isAlpha(unit) ? 1 : 0;
                count += letters > 0 ? 1 : 0;
            }
            finished.Signal();
        });
    }
    started.Wait();
    root->Signal();
    const bool stopped = WaitForAll({&done[0], &done[1], &done[2]}, std::chrono::milliseconds(5000));
    for (std::thread& worker : workers)
        worker.join();
    std::cout << "cancel: one signal of the root reached " << done.size() << " workers after "
              << passes[0] + passes[1] + passes[2] << " passes over the text; "
              << (stopped ? "all stopped within the timeout" : "some did not stop in time") << '\n';
}

} // namespace tour
