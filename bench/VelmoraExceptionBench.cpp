// Throwing and catching an exception with a fresh error record and a message, against
// std::runtime_error with the same message.
#include <benchmark/benchmark.h>
#include <kestal/VelmoraException.h>
#include <stdexcept>

namespace {

void ThrowCatchKestal(benchmark::State& state) {
    for (auto _ : state) {
        try {
            throw VelmoraException(
                u"Could not open the settings store",
                TError::ErrorInfo(VelmoraError::MakeError(0x0E2B86FB, u"VelmoraException_AutoGen_0x0E2B86FB"),
                                  TError::Client));
        } catch (VelmoraException const& e) {
            benchmark::DoNotOptimize(e.GetErrorCode());
        }
    }
}
void ThrowCatchRuntimeError(benchmark::State& state) {
    for (auto _ : state) {
        try {
            throw std::runtime_error("Could not open the settings store");
        } catch (std::runtime_error const& e) {
            benchmark::DoNotOptimize(e.what());
        }
    }
}

} // namespace

BENCHMARK(ThrowCatchKestal)->Name("ThrowCatch/kestal");
BENCHMARK(ThrowCatchRuntimeError)->Name("ThrowCatch/runtime_error");
