// hashdir: the SHA-256 digest of every regular file under a directory, one task per file.
//
//     kestal_hashdir [--timeout SECONDS] [DIRECTORY]    (default: /usr/share/common-licenses)
//
// Each file is read and hashed inside its own task on the default pool; WhenAll joins them while
// the main thread keeps a progress line on standard error. Past the timeout, one Cancel on the
// joined future reaches every task with a reason of our own, and each task stops at its next chunk.
// Prints "<digest>  <path>" sorted by path; exit code 0 when every file was hashed, 1 otherwise.
#include <algorithm>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <kestal/kestal.h>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

// The reason our timeout cancels with: a record of this program's own, not the library's.
TError::ErrorInfo TimedOut() {
    return TError::ErrorInfo(VelmoraError(0x4A5D0001, u"HashDir_TimedOut_0x4A5D0001"), TError::Client,
                             grpc::StatusCode::DEADLINE_EXCEEDED);
}

std::string utf8Of(TStringCore const& s) {
    return Unicode::toStdString(s.constData(), static_cast<std::size_t>(s.size()));
}

// Reads `path` in 64 KiB chunks into the digest, giving a cancel the chance to stop it between
// chunks. An unreadable file raises std::system_error.
std::string hashFile(fs::path const& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) throw std::system_error(errno, std::generic_category());
    sha2 digest;
    digest.Init(sha2::SHA_256);
    std::vector<char> chunk(64 * 1024);
    while (in) {
        AsyncTask::Cancel::ThrowIfCancelled();
        in.read(chunk.data(), static_cast<std::streamsize>(chunk.size()));
        digest.Update(reinterpret_cast<unsigned char const*>(chunk.data()),
                      static_cast<unsigned long>(in.gcount()));
    }
    if (in.bad()) throw std::runtime_error("read error");
    digest.End();
    return digest.StringHash();
}

// Regular files only (symbolic links are not followed), sorted, so the output order is the
// order of submission.
std::vector<fs::path> filesUnder(fs::path const& root) {
    std::vector<fs::path> files;
    for (fs::directory_entry const& entry :
         fs::recursive_directory_iterator(root, fs::directory_options::skip_permission_denied))
        if (fs::is_regular_file(entry.symlink_status())) files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    return files;
}

struct Options {
    fs::path root = "/usr/share/common-licenses";
    std::optional<double> timeoutSeconds;
};

std::optional<Options> parse(int argc, char** argv) {
    Options options;
    for (int i = 1; i < argc; ++i) {
        std::string const arg = argv[i];
        if (arg == "--timeout" && i + 1 < argc) {
            double seconds = -1;
            std::string const value = argv[++i];
            auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), seconds);
            if (error != std::errc() || end != value.data() + value.size() || seconds < 0)
                return std::nullopt;
            options.timeoutSeconds = seconds;
        } else if (arg.starts_with("-")) {
            return std::nullopt;
        } else {
            options.root = arg;
        }
    }
    return options;
}

} // namespace

int main(int argc, char** argv) {
    std::optional<Options> const options = parse(argc, argv);
    if (!options) {
        std::cerr << "usage: kestal_hashdir [--timeout SECONDS] [DIRECTORY]\n";
        return 2;
    }
    std::vector<fs::path> files;
    try {
        files = filesUnder(options->root);
    } catch (fs::filesystem_error const& e) {
        std::cerr << "kestal_hashdir: " << e.what() << '\n';
        return 1;
    }

    // One task per file; shared futures, so each can still be read after WhenAll took copies.
    std::vector<AsyncTask::SharedFuture<std::string>> digests;
    for (fs::path const& file : files)
        digests.push_back(AsyncTask::Async([file] { return hashFile(file); }).Share());
    AsyncTask::Future<std::vector<std::string>> all = AsyncTask::WhenAll(digests);

    // Progress until all are done; at the deadline, one cancel with our reason reaches every task.
    std::optional<Clock::time_point> deadline;
    if (options->timeoutSeconds)
        deadline = Clock::now() + std::chrono::duration_cast<Clock::duration>(
                                      std::chrono::duration<double>(*options->timeoutSeconds));
    auto const progress = [&] {
        auto const ready =
            std::count_if(digests.begin(), digests.end(), [](auto const& f) { return f.IsReady(); });
        std::cerr << "\rhashed " << ready << '/' << files.size() << " files" << std::flush;
    };
    for (;;) {
        auto step = std::chrono::milliseconds(100);
        if (deadline) {
            auto const left = std::chrono::ceil<std::chrono::milliseconds>(*deadline - Clock::now());
            if (left.count() <= 0) {
                all.Cancel(TimedOut());
                deadline.reset();
            } else {
                step = std::min(step, left);
            }
        }
        if (all.WaitFor(step)) break;
        progress();
    }
    progress();
    std::cerr << '\n';

    bool allHashed = true;
    for (std::size_t i = 0; i < files.size(); ++i) {
        std::string outcome;
        try {
            outcome = digests[i].Get(); // ready: the join waited for every input
        } catch (AsyncTask::CancelException const& e) {
            outcome = "cancelled (" + utf8Of(e.GetErrorName()) + ")";
            allHashed = false;
        } catch (std::exception const& e) {
            outcome = "unreadable (" + std::string(e.what()) + ")";
            allHashed = false;
        }
        std::cout << outcome << "  " << files[i].string() << '\n';
    }
    TThreadPool::Shutdown(std::chrono::seconds(5));
    return allHashed ? 0 : 1;
}
