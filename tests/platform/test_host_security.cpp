// The host kit against other users of the machine and a lax umask: the bus directory, the
// endpoint sockets, the shared-block arena and the simulator's control socket are made private to
// our user, and a process of another user (uid 65534, run the way `setpriv --reuid=65534
// --regid=65534 --clear-groups` runs it) is refused by each.
//
// The other-user cases need root to switch users; without it they are reported as skipped.
#include <fcntl.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>

#include "sim_process.h"
#include "test_env.h"
#include "zx_host.h"
#include "zx_platform.h"

namespace {

constexpr uid_t kNobody = 65534;
constexpr auto kBound = std::chrono::seconds(20);

#define EXPECT_STATUS(actual, expected) EXPECT_EQ(zxhost::status_name(actual), zxhost::status_name(expected))
#define ASSERT_STATUS(actual, expected) ASSERT_EQ(zxhost::status_name(actual), zxhost::status_name(expected))

unsigned mode_of(const std::string& path) {
    struct stat st {};
    if (lstat(path.c_str(), &st) != 0) return 0xFFFFFFFFu;
    return st.st_mode & 07777;
}

// Sets the umask for one scope.
class ScopedUmask {
public:
    explicit ScopedUmask(mode_t mask) : old_(umask(mask)) {}
    ~ScopedUmask() { umask(old_); }

private:
    mode_t old_;
};

class Pipe {
public:
    Pipe() {
        if (pipe2(fds_, O_CLOEXEC) != 0) fds_[0] = fds_[1] = -1;
    }
    ~Pipe() {
        for (int fd : fds_)
            if (fd >= 0) close(fd);
    }
    bool put(uint32_t v) { return write(fds_[1], &v, sizeof v) == sizeof v; }
    // The next word, or nothing within the bound.
    bool get(uint32_t& v) {
        pollfd p{fds_[0], POLLIN, 0};
        if (poll(&p, 1, static_cast<int>(std::chrono::milliseconds(kBound).count())) != 1) return false;
        return read(fds_[0], &v, sizeof v) == sizeof v;
    }

private:
    int fds_[2];
};

// A forked child that drops to uid/gid 65534 and no supplementary groups, then runs fn; its
// result is the exit code. fn may start before the parent does its part: it waits on a pipe.
class OtherUser {
public:
    explicit OtherUser(const std::function<int()>& fn) {
        pid_ = fork();
        if (pid_ == 0) {
            if (setgroups(0, nullptr) != 0 || setgid(kNobody) != 0 || setuid(kNobody) != 0) _exit(100);
            if (getuid() != kNobody || geteuid() != kNobody || getgid() != kNobody) _exit(101);
            _exit(fn());
        }
    }
    ~OtherUser() {
        if (pid_ > 0 && !reaped_) {
            kill(pid_, SIGKILL);
            waitpid(pid_, nullptr, 0);
        }
    }
    int exit_code() {
        if (pid_ <= 0) return -1;
        int status = 0;
        reaped_ = true;
        if (waitpid(pid_, &status, 0) != pid_ || !WIFEXITED(status)) return -2;
        return WEXITSTATUS(status);
    }

private:
    pid_t pid_ = -1;
    bool reaped_ = false;
};

bool can_switch_users() { return geteuid() == 0; }

#define NEEDS_ROOT()                                                                                              \
    if (!can_switch_users())                                                                                     \
    GTEST_SKIP() << "needs root to run a process as uid 65534: this case is NOT checked here (reported as skipped)"

// A stream connection to a socket path: the connected descriptor, or -1 with errno set.
int connect_stream(const std::string& path) {
    int s = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un a{};
    a.sun_family = AF_UNIX;
    std::snprintf(a.sun_path, sizeof a.sun_path, "%s", path.c_str());
    if (connect(s, reinterpret_cast<sockaddr*>(&a), sizeof a) != 0) {
        int err = errno;
        close(s);
        errno = err;
        return -1;
    }
    return s;
}

// Sends one control request line and reads until the answer's newline or the end of the
// connection: the answer line, or "" when the connection ended without one.
std::string ctl_exchange(int fd, const std::string& line) {
    std::string request = line + "\n";
    if (send(fd, request.data(), request.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(request.size())) return "";
    std::string answer;
    for (;;) {
        pollfd p{fd, POLLIN, 0};
        if (poll(&p, 1, static_cast<int>(std::chrono::milliseconds(kBound).count())) != 1) return "<no answer, open>";
        char buf[512];
        ssize_t n = recv(fd, buf, sizeof buf, 0);
        if (n <= 0) return answer;
        answer.append(buf, static_cast<size_t>(n));
        if (answer.find('\n') != std::string::npos) return answer;
    }
}

// ---------------------------------------------------------------------------------------------
// Modes under a lax umask
// ---------------------------------------------------------------------------------------------

TEST(HostModes, BusDirectoryEndpointsAndArenaStayPrivateUnderUmaskZero) {
    zxtest::ScopedTempDir base("zxsec");
    const std::string dir = base.path() + "/bus";  // made by the platform itself
    ScopedUmask lax(0);
    zxtest::set_env("ZX_BUS_DIR", dir.c_str());

    ASSERT_STATUS(ZX_MSG_Init("modes", 16, 16, 0), ZX_OK);
    std::unique_ptr<zxhost::BusService> svc;
    ASSERT_STATUS(zxhost::BusService::start(
                      "svc", [](const zxhost::BusRequest&, zxhost::BusAnswer&) {}, svc),
                  ZX_OK);
    uint32_t id = 0;
    ASSERT_STATUS(ZX_VDATA_CreShm(64, &id), ZX_OK);

    EXPECT_EQ(mode_of(dir), 0700u) << "bus directory";
    EXPECT_EQ(mode_of(dir + "/vdata.arena"), 0600u) << "arena";
    EXPECT_EQ(mode_of(dir + "/modes"), 0600u) << "process endpoint socket";
    EXPECT_EQ(mode_of(dir + "/svc"), 0600u) << "service endpoint socket";
    struct stat st {};
    ASSERT_EQ(lstat((dir + "/modes").c_str(), &st), 0);
    EXPECT_TRUE(S_ISSOCK(st.st_mode));
    EXPECT_STATUS(ZX_VDATA_FreeShm(id), ZX_OK);
    svc.reset();
    zxhost::drop_thread_connections();
}

TEST(HostModes, SimulatorControlSocketStaysPrivateUnderUmaskZero) {
    zxtest::ScopedTempDir base("zxsec");
    const std::string dir = base.path() + "/bus";
    ScopedUmask lax(0);  // the simulator inherits it
    zxtest::set_env("ZX_BUS_DIR", dir.c_str());
    zxtest::SimProcess sim({.services = {"app_m"}, .ctl = "secctl"});
    ASSERT_TRUE(sim.start());
    EXPECT_EQ(mode_of(dir), 0700u) << "bus directory made by the simulator";
    EXPECT_EQ(mode_of(sim.ctl_path()), 0600u) << "control socket";
    EXPECT_EQ(mode_of(dir + "/app_m"), 0600u) << "service endpoint socket";
    EXPECT_TRUE(sim.ctl_ok(R"({"op":"ping"})")) << "our own user is served";
}

// ---------------------------------------------------------------------------------------------
// Another user
// ---------------------------------------------------------------------------------------------

TEST(HostPeers, ArenaBlocksOfOurUserCannotBeReadByAnotherUser) {
    NEEDS_ROOT();
    zxtest::ScopedBusDir bus;
    // The other process starts before the arena exists, so it inherits no mapping of it.
    Pipe toChild;
    const std::string arena = bus.path() + "/vdata.arena";
    OtherUser child([&] {
        uint32_t id = 0;
        if (!toChild.get(id)) return 10;
        char out[16] = {};
        // The library refuses a bus directory of another user before it touches the arena ...
        if (ZX_VDATA_ReadData(id, sizeof out, out) == ZX_OK) return 11;
        if (std::memcmp(out, "private", 7) == 0) return 12;
        // ... and the file's own mode refuses a process that tries by hand.
        int fd = open(arena.c_str(), O_RDONLY);
        if (fd >= 0) return 13;
        return errno == EACCES ? 0 : 14;
    });
    uint32_t id = 0;
    ASSERT_STATUS(ZX_VDATA_CreShm(16, &id), ZX_OK);
    ASSERT_STATUS(ZX_VDATA_UpdateData(id, 8, "private"), ZX_OK);
    // Opened up, the directory lets the other user reach the file: only its mode and the library
    // stand in the way.
    ASSERT_EQ(chmod(bus.path().c_str(), 0777), 0);
    ASSERT_TRUE(toChild.put(id));
    EXPECT_EQ(child.exit_code(), 0);
    char back[8] = {};
    EXPECT_STATUS(ZX_VDATA_ReadData(id, sizeof back, back), ZX_OK) << "our own block is untouched";
    EXPECT_STREQ(back, "private");
    EXPECT_STATUS(ZX_VDATA_FreeShm(id), ZX_OK);
}

TEST(HostPeers, ArenaFileOfAnotherUserIsNotJoined) {
    NEEDS_ROOT();
    // The other user makes a valid arena in a directory of its own.
    zxtest::ScopedTempDir base("zxsec");
    const std::string theirs = base.path() + "/theirs";
    ASSERT_EQ(mkdir(theirs.c_str(), 0700), 0);
    ASSERT_EQ(chown(theirs.c_str(), kNobody, kNobody), 0);
    ASSERT_EQ(chmod(base.path().c_str(), 0755), 0);
    OtherUser maker([&] {
        zxtest::set_env("ZX_BUS_DIR", theirs.c_str());
        uint32_t id = 0;
        return ZX_VDATA_CreShm(16, &id) == ZX_OK ? 0 : 10;
    });
    ASSERT_EQ(maker.exit_code(), 0);
    struct stat st {};
    ASSERT_EQ(stat((theirs + "/vdata.arena").c_str(), &st), 0);
    ASSERT_EQ(st.st_uid, kNobody);

    // That file placed in our bus directory (a directory someone opened up) is not used.
    zxtest::ScopedBusDir bus;
    ASSERT_EQ(rename((theirs + "/vdata.arena").c_str(), (bus.path() + "/vdata.arena").c_str()), 0);
    uint32_t id = 0;
    EXPECT_STATUS(ZX_VDATA_CreShm(16, &id), ZX_VDATA_ERR_ARENA);
    // Once it is gone, our own arena is made and works.
    ASSERT_EQ(unlink((bus.path() + "/vdata.arena").c_str()), 0);
    ASSERT_STATUS(ZX_VDATA_CreShm(16, &id), ZX_OK);
    ASSERT_EQ(stat((bus.path() + "/vdata.arena").c_str(), &st), 0);
    EXPECT_EQ(st.st_uid, geteuid());
    EXPECT_STATUS(ZX_VDATA_FreeShm(id), ZX_OK);
}

TEST(HostPeers, ArenaFileOfOurUserThatOthersMayWriteIsNotJoined) {
    zxtest::ScopedBusDir bus;
    // A second process of our user, started before the arena exists (so it maps it afresh).
    Pipe toChild;
    pid_t pid = fork();
    if (pid == 0) {
        uint32_t go = 0;
        if (!toChild.get(go)) _exit(10);
        uint32_t id = 0;
        _exit(ZX_VDATA_CreShm(16, &id) == ZX_VDATA_ERR_ARENA ? 0 : 11);
    }
    ASSERT_GT(pid, 0);
    uint32_t id = 0;
    ASSERT_STATUS(ZX_VDATA_CreShm(16, &id), ZX_OK);
    ASSERT_STATUS(ZX_VDATA_FreeShm(id), ZX_OK);
    // Any user may have written the file since it was widened: it is not joined.
    ASSERT_EQ(chmod((bus.path() + "/vdata.arena").c_str(), 0666), 0);
    ASSERT_TRUE(toChild.put(1));
    int status = 0;
    ASSERT_EQ(waitpid(pid, &status, 0), pid);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
}

TEST(HostPeers, ControlSocketRefusesAnotherUser) {
    NEEDS_ROOT();
    zxtest::ScopedBusDir bus;
    zxtest::SimProcess sim({.services = {"app_m"}, .ctl = "secctl"});
    ASSERT_TRUE(sim.start());
    const std::string path = sim.ctl_path();
    // With the bus directory private, the other user does not reach the socket.
    EXPECT_EQ(OtherUser([&] {
                  int fd = connect_stream(path);
                  if (fd >= 0) return 10;
                  return errno == EACCES ? 0 : 11;
              }).exit_code(),
              0);
    // Opened up by hand, directory and socket let it connect: the simulator closes the
    // connection without answering, and nothing the request asked for happens.
    ASSERT_EQ(chmod(bus.path().c_str(), 0777), 0);
    ASSERT_EQ(chmod(path.c_str(), 0777), 0);
    EXPECT_EQ(OtherUser([&] {
                  int fd = connect_stream(path);
                  if (fd < 0) return 20;
                  std::string answer = ctl_exchange(fd, R"({"op":"set","service":"app_m","state":{"loid":"FROM-ANOTHER-USER"}})");
                  close(fd);
                  return answer.empty() ? 0 : 21;
              }).exit_code(),
              0);
    zxtest::JsonPtr state = sim.state("app_m");
    ASSERT_TRUE(state);
    EXPECT_EQ(std::string(json_object_to_json_string(state.get())).find("FROM-ANOTHER-USER"), std::string::npos);
    EXPECT_TRUE(sim.ctl_ok(R"({"op":"ping"})")) << "our own user is still served";
}


// simctl and the build's libraries copied where the other user can reach them: the build tree
// may lie below a directory only we may enter (/root on a fresh machine), and the loader running
// as the other user could then not open the platform library.
class ReachableSimctl {
public:
    ReachableSimctl() : dir_("zxsimctl") {
        namespace fs = std::filesystem;
        std::error_code ec;
        fs::create_directory(dir_.path() + "/lib", ec);
        fs::copy_file(std::string(ZX_BINARY_DIR) + "/bin/simctl", dir_.path() + "/simctl", ec);
        for (const fs::directory_entry& e : fs::directory_iterator(std::string(ZX_BINARY_DIR) + "/lib", ec))
            if (e.path().filename().string().find(".so") != std::string::npos)
                fs::copy_file(e.path(), dir_.path() + "/lib/" + e.path().filename().string(), ec);
        for (const std::string& d : {dir_.path(), dir_.path() + "/lib"}) chmod(d.c_str(), 0755);
    }
    const std::string& dir() const { return dir_.path(); }

private:
    zxtest::ScopedTempDir dir_;
};

// simctl as the other user, started through setpriv: the tool's exit status (2: the simulator
// could not be reached or gave no answer), -1 when it could not be run.
int simctl_as_nobody(const std::string& ctlName, const std::string& setRequest) {
    static const ReachableSimctl copy;
    pid_t pid = fork();
    if (pid == 0) {
        const std::string simctl = copy.dir() + "/simctl";
        setenv("LD_LIBRARY_PATH", (copy.dir() + "/lib").c_str(), 1);
        execlp("setpriv", "setpriv", "--reuid=65534", "--regid=65534", "--clear-groups", simctl.c_str(), "--ctl",
               ctlName.c_str(), "set", "app_m", setRequest.c_str(), static_cast<char*>(nullptr));
        _exit(127);
    }
    if (pid < 0) return -1;
    int status = 0;
    if (waitpid(pid, &status, 0) != pid || !WIFEXITED(status)) return -1;
    return WEXITSTATUS(status);
}

TEST(HostPeers, SimctlRunByAnotherUserThroughSetprivIsRefused) {
    NEEDS_ROOT();
    zxtest::ScopedBusDir bus;
    zxtest::SimProcess sim({.services = {"app_m"}, .ctl = "secctl"});
    ASSERT_TRUE(sim.start());
    const std::string request = R"({"loid":"SET-BY-ANOTHER-USER"})";
    EXPECT_EQ(simctl_as_nobody("secctl", request), 2) << "private directory";
    ASSERT_EQ(chmod(bus.path().c_str(), 0777), 0);
    ASSERT_EQ(chmod(sim.ctl_path().c_str(), 0777), 0);
    EXPECT_EQ(simctl_as_nobody("secctl", request), 2) << "directory and socket opened up";
    zxtest::JsonPtr state = sim.state("app_m");
    ASSERT_TRUE(state);
    EXPECT_EQ(std::string(json_object_to_json_string(state.get())).find("SET-BY-ANOTHER-USER"), std::string::npos);
    EXPECT_TRUE(sim.ctl_ok(R"({"op":"set","service":"app_m","state":{"loid":"OURS"}})")) << "our own user may";
}

}  // namespace
