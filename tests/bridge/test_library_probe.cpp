// The probe of the gateway's platform libraries (JNIloadComLib). The names it opens are fixed, so
// each case runs the probe in a child process whose LD_LIBRARY_PATH holds the stub libraries the
// case wants found; libjson-c.so is the system's own.
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "test_env.h"
#include "trace_lines.h"
#include "zx_host.h"

extern char** environ;

namespace {

using zxtest::T;

constexpr const char* kFile = "l2tp_jni";
constexpr uint32_t kLevel = 216;
const std::string kStubs = ZX_BINARY_DIR "/tests/stubs";

struct ProbeRun {
    int exitStatus = -1;
    std::vector<std::string> output;  // the runner's lines
    std::vector<std::string> records;
};

// Runs the probe with only the stub libraries in `stubDirs` to be found.
ProbeRun run_probe(const std::vector<std::string>& stubDirs) {
    zxtest::ScopedTempDir dir("zxprobe");
    const std::string traceFile = dir.path() + "/trace";

    std::string libraryPath = "LD_LIBRARY_PATH=";
    for (const std::string& d : stubDirs) libraryPath += (libraryPath.back() == '=' ? "" : ":") + kStubs + "/" + d;
    std::string trace = "ZX_TRACE=" + traceFile;
    std::vector<char*> envp;
    for (char** e = environ; *e; ++e)
        if (std::strncmp(*e, "LD_LIBRARY_PATH=", 16) != 0 && std::strncmp(*e, "ZX_TRACE=", 9) != 0) envp.push_back(*e);
    envp.push_back(libraryPath.data());
    envp.push_back(trace.data());
    envp.push_back(nullptr);

    ProbeRun run;
    int out[2];
    if (pipe(out) != 0) return run;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
    posix_spawn_file_actions_addclose(&actions, out[0]);
    std::vector<std::string> words = zxtest::program_command(kStubs + "/zx_probe_runner");
    std::vector<char*> argv = zxtest::argv_of(words);
    pid_t pid = -1;
    int rc = posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), envp.data());
    posix_spawn_file_actions_destroy(&actions);
    close(out[1]);
    std::string text;
    char buf[256];
    for (ssize_t n; rc == 0 && (n = read(out[0], buf, sizeof buf)) > 0;) text.append(buf, static_cast<size_t>(n));
    close(out[0]);
    if (rc != 0 || waitpid(pid, &run.exitStatus, 0) != pid) return run;

    for (size_t start = 0, end; (end = text.find('\n', start)) != std::string::npos; start = end + 1)
        run.output.push_back(text.substr(start, end - start));
    std::ifstream in(traceFile);
    for (std::string line; std::getline(in, line);) {
        zxhost::TraceRecord r;
        run.records.push_back(zxhost::trace_parse_line(line, r) ? zxtest::record_line(r) : "unparsed: " + line);
    }
    return run;
}

const std::string kJsonOk = T(kLevel, kFile, 821, "start loading libjson-c.so \n");

TEST(LibraryProbe, StopsAtTheMissingDmLibraryWithoutTryingTheConfigLibrary) {
    ProbeRun run = run_probe({"zx_kor_json", "zx_mev_cfg"});
    ASSERT_EQ(run.exitStatus, 0);
    // The config library could be found, yet nothing of it is traced: it was never tried.
    EXPECT_EQ(run.output, std::vector<std::string>({"result 1"}));
    EXPECT_EQ(run.records, std::vector<std::string>({
                               kJsonOk,
                               T(kLevel, kFile, 831, "start loading libzx_kor_json.so \n"),
                               T(kLevel, kFile, 838, "\r\n dlopen libzx_mev_dm.so error\r\n"),
                           }));
}

TEST(LibraryProbe, AllLibrariesPresentIsZeroAndNothingStaysLoaded) {
    ProbeRun run = run_probe({"zx_kor_json", "zx_mev_dm", "zx_mev_cfg"});
    ASSERT_EQ(run.exitStatus, 0);
    // No "loaded" line: every library the probe opened was closed again.
    EXPECT_EQ(run.output, std::vector<std::string>({"result 0"}));
    EXPECT_EQ(run.records, std::vector<std::string>({
                               kJsonOk,
                               T(kLevel, kFile, 831, "start loading libzx_kor_json.so \n"),
                               T(kLevel, kFile, 842, "start loading libzx_mev_dm.so \n"),
                               T(kLevel, kFile, 852, "start loading libzx_mev_cfg.so \n"),
                           }));
}

TEST(LibraryProbe, MissingJsonPlatformLibraryStopsTheProbe) {
    ProbeRun run = run_probe({"zx_mev_dm", "zx_mev_cfg"});
    ASSERT_EQ(run.exitStatus, 0);
    EXPECT_EQ(run.output, std::vector<std::string>({"result 1"}));
    EXPECT_EQ(run.records, std::vector<std::string>({
                               kJsonOk,
                               T(kLevel, kFile, 827, "\r\n dlopen libzx_kor_json.so error\r\n"),
                           }));
}

TEST(LibraryProbe, MissingConfigLibraryIsTheLastFailure) {
    ProbeRun run = run_probe({"zx_kor_json", "zx_mev_dm"});
    ASSERT_EQ(run.exitStatus, 0);
    EXPECT_EQ(run.output, std::vector<std::string>({"result 1"}));
    EXPECT_EQ(run.records, std::vector<std::string>({
                               kJsonOk,
                               T(kLevel, kFile, 831, "start loading libzx_kor_json.so \n"),
                               T(kLevel, kFile, 842, "start loading libzx_mev_dm.so \n"),
                               T(kLevel, kFile, 848, "\r\n dlopen libzx_mev_cfg.so error\r\n"),
                           }));
}

}  // namespace
