#include "ctl_server.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <cerrno>
#include <cstring>

#include "zx_errno.h"
#include "zx_msg.h"

namespace zxsim {
namespace {

bool make_address(const std::string& path, sockaddr_un& addr) {
    if (path.size() >= sizeof addr.sun_path) return false;
    addr = {};
    addr.sun_family = AF_UNIX;
    std::memcpy(addr.sun_path, path.c_str(), path.size() + 1);
    return true;
}

// A socket file nobody accepts on is what a killed simulator leaves behind.
bool socket_alive(const sockaddr_un& addr) {
    UniqueFd probe(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!probe) return false;
    return connect(probe.get(), reinterpret_cast<const sockaddr*>(&addr), sizeof addr) == 0;
}

bool send_all(int fd, std::string_view bytes) {
    while (!bytes.empty()) {
        ssize_t n = send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        bytes.remove_prefix(static_cast<size_t>(n));
    }
    return true;
}

}  // namespace

uint32_t CtlServer::start(const std::string& path, LineHandler handler, std::unique_ptr<CtlServer>& out) {
    sockaddr_un addr;
    if (!make_address(path, addr)) return ZX_ERR_PARAM;
    if (socket_alive(addr)) return ZX_MSG_ERR_IN_USE;
    unlink(path.c_str());

    UniqueFd listener(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!listener) return ZX_ERR_SYS;
    // bind leaves the socket file as wide as the umask lets it: only our user may connect.
    if (bind(listener.get(), reinterpret_cast<const sockaddr*>(&addr), sizeof addr) != 0 ||
        chmod(path.c_str(), 0600) != 0 || listen(listener.get(), 16) != 0) {
        unlink(path.c_str());
        return ZX_ERR_SYS;
    }
    UniqueFd wake(eventfd(0, EFD_CLOEXEC));
    if (!wake) {
        unlink(path.c_str());
        return ZX_ERR_SYS;
    }
    out.reset(new CtlServer(path, std::move(handler), std::move(listener), std::move(wake)));
    return ZX_OK;
}

CtlServer::CtlServer(std::string path, LineHandler handler, UniqueFd listener, UniqueFd wake)
    : path_(std::move(path)), handler_(std::move(handler)), listener_(std::move(listener)), wake_(std::move(wake)) {
    thread_ = std::thread([this] { run(); });
}

CtlServer::~CtlServer() { stop(); }

void CtlServer::stop() {
    if (!thread_.joinable()) return;
    uint64_t one = 1;
    // The eventfd counter cannot overflow from one write, so this write does not fail.
    (void)!write(wake_.get(), &one, sizeof one);
    thread_.join();
    clients_.clear();
    listener_.reset();
    unlink(path_.c_str());
}

void CtlServer::run() {
    for (;;) {
        std::vector<pollfd> fds{{wake_.get(), POLLIN, 0}, {listener_.get(), POLLIN, 0}};
        for (const Client& c : clients_) fds.push_back({c.fd.get(), POLLIN, 0});
        if (poll(fds.data(), fds.size(), -1) < 0) {
            if (errno == EINTR) continue;
            return;
        }
        if (fds[0].revents) return;
        // Clients first: accepting appends to clients_, which the indexes below refer to.
        for (size_t i = clients_.size(); i-- > 0;) {
            if (fds[i + 2].revents && !serve_client(clients_[i])) clients_.erase(clients_.begin() + i);
        }
        if (fds[1].revents) accept_client();
    }
}

void CtlServer::accept_client() {
    // The bus directory and the socket are private to our user; a client of another user that got
    // through all the same (a directory opened up by hand) is closed unanswered.
    UniqueFd fd(accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC));
    if (!fd) return;
    ucred cred{};
    socklen_t len = sizeof cred;
    if (getsockopt(fd.get(), SOL_SOCKET, SO_PEERCRED, &cred, &len) != 0 || cred.uid != geteuid()) return;
    clients_.push_back({std::move(fd), {}});
}

bool CtlServer::serve_client(Client& client) {
    char buf[4096];
    ssize_t n = recv(client.fd.get(), buf, sizeof buf, 0);
    if (n < 0 && errno == EINTR) return true;
    if (n <= 0) return false;
    client.pending.append(buf, static_cast<size_t>(n));

    size_t start = 0;
    for (size_t nl; (nl = client.pending.find('\n', start)) != std::string::npos; start = nl + 1) {
        std::string_view line(client.pending.data() + start, nl - start);
        if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
        if (line.find_first_not_of(" \t") == std::string_view::npos) continue;
        if (!send_all(client.fd.get(), handler_(line) + '\n')) return false;
    }
    client.pending.erase(0, start);
    return client.pending.size() <= kMaxLine;
}

}  // namespace zxsim
