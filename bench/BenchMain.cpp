// Shared main for every benchmark binary: runs Google Benchmark as usual, then prints the ratio
// of libkestal's time to each peer's, measured in the same run.
//
// Naming convention: "Operation/impl[/args]". The impl "kestal" is ours; every other impl of the
// same operation and args is a peer. A ratio below 1 means libkestal is faster. With repetitions the
// ratio is taken from the medians, so one noisy repetition does not decide it.
#include <benchmark/benchmark.h>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

namespace {

struct Split {
    std::string key;  // operation and args
    std::string impl; // second path component
};

Split splitName(std::string const& name) {
    const auto first = name.find('/');
    if (first == std::string::npos) return {name, ""};
    const auto second = name.find('/', first + 1);
    const std::string impl =
        name.substr(first + 1, second == std::string::npos ? std::string::npos : second - first - 1);
    const std::string args = second == std::string::npos ? "" : name.substr(second);
    return {name.substr(0, first) + args, impl};
}

class RatioReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(std::vector<Run> const& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (Run const& run : runs) {
            if (run.error_occurred) continue;
            const bool median = run.run_type == Run::RT_Aggregate && run.aggregate_name == "median";
            if (run.run_type != Run::RT_Iteration && !median) continue;
            const Split s = splitName(run.run_name.str());
            if (s.impl.empty()) continue;
            auto& impls = m_times[s.key];
            if (impls.empty()) m_order.push_back(s.key);
            // The first repetition stands in until the median arrives.
            if (median)
                impls.insert_or_assign(s.impl, run.GetAdjustedRealTime());
            else
                impls.emplace(s.impl, run.GetAdjustedRealTime());
        }
    }

    void PrintRatios() const {
        std::printf("\n%-44s %-22s %10s\n", "ratio (kestal time / peer time)", "peer", "ratio");
        for (std::string const& key : m_order) {
            auto const& impls = m_times.at(key);
            auto ours = impls.find("kestal");
            if (ours == impls.end()) continue;
            for (auto const& [impl, time] : impls)
                if (impl != "kestal" && time > 0)
                    std::printf("%-44s %-22s %10.3f\n", key.c_str(), impl.c_str(), ours->second / time);
        }
    }

private:
    std::map<std::string, std::map<std::string, double>> m_times;
    std::vector<std::string> m_order;
};

} // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.PrintRatios();
    benchmark::Shutdown();
    return 0;
}
