// The control socket: an AF_UNIX stream socket where each line a client sends is one request and
// each answer goes back as one line, in order. One thread serves every client in turn: requests
// are answered at once, and a client is expected to read its answers.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "unique_fd.h"

namespace zxsim {

class CtlServer {
public:
    // Turns one request line (without its newline) into one answer line (without newline).
    using LineHandler = std::function<std::string(std::string_view line)>;

    // A line longer than this closes its connection.
    static constexpr size_t kMaxLine = 1u << 20;

    // Listens on `path` and starts serving. A socket file left by a dead process is replaced.
    // ZX_MSG_ERR_IN_USE when a live process listens there, ZX_ERR_PARAM for a path too long for
    // a socket address, ZX_ERR_SYS (errno set) when a system call fails.
    [[nodiscard]] static uint32_t start(const std::string& path, LineHandler handler, std::unique_ptr<CtlServer>& out);
    // Stops serving, closes every connection and removes the socket file. Idempotent.
    void stop();
    ~CtlServer();

private:
    struct Client {
        UniqueFd fd;
        std::string pending;  // bytes received after the last complete line
    };

    CtlServer(std::string path, LineHandler handler, UniqueFd listener, UniqueFd wake);
    void run();
    void accept_client();
    // Reads what the client sent and answers its complete lines; false when it is to be closed.
    bool serve_client(Client& client);

    std::string path_;
    LineHandler handler_;
    UniqueFd listener_;
    UniqueFd wake_;  // eventfd that ends run()
    std::vector<Client> clients_;
    std::thread thread_;
};

}  // namespace zxsim
