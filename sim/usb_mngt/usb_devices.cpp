#include "usb_devices.h"

#include <fcntl.h>
#include <poll.h>
#include <stdlib.h>
#include <sys/eventfd.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <thread>

#include "unique_fd.h"

namespace zxsim {
namespace {

// One device: its terminal pair and the personality on the simulator's side.
class UsbDevice {
public:
    UsbDevice(uint32_t id, uint32_t type) : id_(id), type_(type) {}
    ~UsbDevice() {
        if (worker_.joinable()) {
            uint64_t one = 1;
            (void)!::write(stop_.get(), &one, sizeof one);
            worker_.join();
        }
    }
    UsbDevice(const UsbDevice&) = delete;
    UsbDevice& operator=(const UsbDevice&) = delete;

    uint32_t id() const { return id_; }
    uint32_t type() const { return type_; }
    const std::string& path() const { return path_; }
    bool has_terminal() const { return static_cast<bool>(master_); }

    // A device without a terminal: open answers this path.
    void use_path(std::string path) { path_ = std::move(path); }

    // Makes the pair. The terminal side starts raw, so that nothing the simulator writes is echoed
    // back to it by the line discipline; the simulator keeps it open so that the other side never
    // sees a hang-up between the library's opens.
    std::optional<std::string> open_terminal() {
        master_.reset(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC));
        char name[64];
        if (!master_ || grantpt(master_.get()) != 0 || unlockpt(master_.get()) != 0 ||
            ptsname_r(master_.get(), name, sizeof name) != 0)
            return std::string("cannot make a terminal pair: ") + std::strerror(errno);
        path_ = name;
        held_.reset(::open(name, O_RDWR | O_NOCTTY | O_CLOEXEC));
        termios tio;
        if (!held_ || tcgetattr(held_.get(), &tio) != 0) return "cannot open " + path_;
        cfmakeraw(&tio);
        if (tcsetattr(held_.get(), TCSANOW, &tio) != 0) return "cannot set " + path_ + " raw";
        return std::nullopt;
    }

    void start_echo() {
        start([this](std::vector<uint8_t>& pending) {
            send(pending);
            pending.clear();
        });
    }

    // Answers complete lines; an unfinished one waits for its end.
    void start_lines(std::map<std::string, std::string> script) {
        start([this, script = std::move(script)](std::vector<uint8_t>& pending) {
            auto end = std::find_if(pending.begin(), pending.end(), [](uint8_t c) { return c == '\r' || c == '\n'; });
            while (end != pending.end()) {
                std::string line(pending.begin(), end);
                pending.erase(pending.begin(), end + 1);
                if (!line.empty()) {
                    auto found = script.find(line);
                    std::string answer = (found == script.end() ? "ERROR" : found->second) + "\r\n";
                    send({answer.begin(), answer.end()});
                }
                end = std::find_if(pending.begin(), pending.end(), [](uint8_t c) { return c == '\r' || c == '\n'; });
            }
        });
    }

    bool send(const std::vector<uint8_t>& bytes) {
        size_t done = 0;
        while (done < bytes.size()) {
            ssize_t n = ::write(master_.get(), bytes.data() + done, bytes.size() - done);
            if (n < 0 && errno == EINTR) continue;
            if (n <= 0) return false;
            done += static_cast<size_t>(n);
        }
        return true;
    }

    // What the library wrote, for a device a test drives ("host").
    void receive(size_t min, size_t max, uint32_t waitMs, std::vector<uint8_t>& out) {
        auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(waitMs);
        while (out.size() < max) {
            auto left =
                std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
            int timeout = out.size() >= min ? 0 : static_cast<int>(std::max<int64_t>(left.count(), 0));
            pollfd p{master_.get(), POLLIN, 0};
            if (::poll(&p, 1, timeout) <= 0 || !(p.revents & POLLIN)) return;
            uint8_t chunk[4096];
            ssize_t n = ::read(master_.get(), chunk, std::min(sizeof chunk, max - out.size()));
            if (n <= 0) return;
            out.insert(out.end(), chunk, chunk + n);
        }
    }

private:
    using Personality = std::function<void(std::vector<uint8_t>&)>;

    // Runs the personality over everything the library writes until the device is destroyed.
    void start(Personality personality) {
        stop_.reset(eventfd(0, EFD_CLOEXEC));
        worker_ = std::thread([this, personality = std::move(personality)] {
            std::vector<uint8_t> pending;
            for (;;) {
                pollfd p[2] = {{master_.get(), POLLIN, 0}, {stop_.get(), POLLIN, 0}};
                if (::poll(p, 2, -1) < 0 && errno != EINTR) return;
                if (p[1].revents) return;
                if (!(p[0].revents & POLLIN)) continue;
                uint8_t chunk[4096];
                ssize_t n = ::read(master_.get(), chunk, sizeof chunk);
                if (n <= 0) continue;
                pending.insert(pending.end(), chunk, chunk + n);
                personality(pending);
            }
        });
    }

    uint32_t id_;
    uint32_t type_;
    std::string path_;
    UniqueFd master_;
    UniqueFd held_;
    UniqueFd stop_;
    std::thread worker_;
};

struct Registration {
    std::string plugId;
    uint32_t type;
    uint32_t pid;
};

// Every device and the ownership records, built from the service's state on first use.
class UsbBoard {
public:
    // Builds the devices once; the failure of a device definition is kept and told on every use.
    void ensure(Service& service) {
        std::call_once(built_, [&] {
            JsonPtr state = service.state_copy();
            json_object* list = nullptr;
            if (!json_object_object_get_ex(state.get(), "devices", &list) ||
                !json_object_is_type(list, json_type_array))
                return;
            for (size_t i = 0; i < json_object_array_length(list) && !setupError; ++i)
                setupError = add_device(json_object_array_get_idx(list, i));
        });
    }

    std::mutex mutex;
    std::optional<std::string> setupError;
    std::map<uint32_t, std::unique_ptr<UsbDevice>> devices;
    std::vector<Registration> registrations;  // oldest first
    std::map<uint32_t, std::string> locks;    // device id -> plug-in id

    UsbDevice* device(uint32_t id) {
        auto it = devices.find(id);
        return it == devices.end() ? nullptr : it->second.get();
    }

    // The plug-in the caller acts as for a device type: its latest registration still standing.
    const Registration* acting(uint32_t pid, uint32_t type) const {
        for (auto it = registrations.rbegin(); it != registrations.rend(); ++it)
            if (it->pid == pid && it->type == type) return &*it;
        return nullptr;
    }

private:
    std::optional<std::string> add_device(json_object* def) {
        std::optional<uint32_t> id = member_u32(def, "id");
        std::optional<uint32_t> type = member_u32(def, "type");
        if (!id || !type) return "a device needs \"id\" and \"type\"";
        auto device = std::make_unique<UsbDevice>(*id, *type);
        if (const char* path = member_text(def, "path")) {
            device->use_path(path);
        } else {
            if (auto failure = device->open_terminal()) return failure;
            const char* personality = member_text(def, "personality");
            std::string kind = personality ? personality : "host";
            if (kind == "echo") {
                device->start_echo();
            } else if (kind == "lines") {
                device->start_lines(script_of(def));
            } else if (kind != "host") {
                return "unknown personality \"" + kind + "\"";
            }
        }
        devices[*id] = std::move(device);
        return std::nullopt;
    }

    static std::map<std::string, std::string> script_of(json_object* def) {
        std::map<std::string, std::string> script;
        json_object* obj = nullptr;
        if (json_object_object_get_ex(def, "script", &obj) && json_object_is_type(obj, json_type_object)) {
            json_object_object_foreach(obj, key, value) script[key] = json_object_get_string(value);
        }
        return script;
    }

    std::once_flag built_;
};

UsbBoard& board(Service& service) {
    static UsbBoard instance;
    instance.ensure(service);
    return instance;
}

UsbOutcome refused(std::string reason) { return {-1, std::move(reason)}; }

std::string device_text(uint32_t id) { return "device " + std::to_string(id); }

// The device and the plug-in the caller acts as for it, or the reason why there is none.
std::optional<std::string> resolve(UsbBoard& b, uint32_t pid, uint32_t devId, UsbDevice*& device,
                                   const Registration*& acting) {
    if (b.setupError) return *b.setupError;
    device = b.device(devId);
    if (!device) return "no such " + device_text(devId);
    acting = b.acting(pid, device->type());
    if (!acting) return "no plug-in registered for type " + std::to_string(device->type());
    return std::nullopt;
}

}  // namespace

UsbOutcome usb_register(Service& service, uint32_t pid, const std::string& plugId, uint32_t type) {
    UsbBoard& b = board(service);
    std::lock_guard lock(b.mutex);
    if (plugId.empty()) return refused("empty plug-in id");
    // A plug-in registering again moves to the end: it is the latest registration of its caller.
    std::erase_if(b.registrations, [&](const Registration& r) { return r.plugId == plugId; });
    b.registrations.push_back({plugId, type, pid});
    return {};
}

UsbOutcome usb_unregister(Service& service, const std::string& plugId) {
    UsbBoard& b = board(service);
    std::lock_guard lock(b.mutex);
    if (!std::erase_if(b.registrations, [&](const Registration& r) { return r.plugId == plugId; }))
        return refused("plug-in " + plugId + " is not registered");
    std::erase_if(b.locks, [&](const auto& entry) { return entry.second == plugId; });
    return {};
}

UsbOutcome usb_lock(Service& service, uint32_t pid, uint32_t devId) {
    UsbBoard& b = board(service);
    std::lock_guard lock(b.mutex);
    UsbDevice* device = nullptr;
    const Registration* acting = nullptr;
    if (auto reason = resolve(b, pid, devId, device, acting)) return refused(*reason);
    auto held = b.locks.find(devId);
    if (held != b.locks.end() && held->second != acting->plugId)
        return refused(device_text(devId) + " is locked by " + held->second);
    b.locks[devId] = acting->plugId;
    return {};
}

UsbOutcome usb_unlock(Service& service, uint32_t pid, uint32_t devId) {
    UsbBoard& b = board(service);
    std::lock_guard lock(b.mutex);
    UsbDevice* device = nullptr;
    const Registration* acting = nullptr;
    if (auto reason = resolve(b, pid, devId, device, acting)) return refused(*reason);
    auto held = b.locks.find(devId);
    if (held == b.locks.end()) return refused(device_text(devId) + " is not locked");
    if (held->second != acting->plugId) return refused(device_text(devId) + " is locked by " + held->second);
    b.locks.erase(held);
    return {};
}

UsbOutcome usb_open(Service& service, uint32_t pid, uint32_t devId, std::string& path) {
    UsbBoard& b = board(service);
    std::lock_guard lock(b.mutex);
    UsbDevice* device = nullptr;
    const Registration* acting = nullptr;
    if (auto reason = resolve(b, pid, devId, device, acting)) return refused(*reason);
    auto held = b.locks.find(devId);
    if (held == b.locks.end()) return refused(device_text(devId) + " is not locked");
    if (held->second != acting->plugId) return refused(device_text(devId) + " is locked by " + held->second);
    path = device->path();
    return {};
}

void usb_unregister_all(Service& service) {
    UsbBoard& b = board(service);
    std::lock_guard lock(b.mutex);
    b.registrations.clear();
    b.locks.clear();
}

namespace {

// A device with a terminal, for the control operations (the board's lock is not needed: the
// devices never change once built, and the terminal side is only read by one test at a time).
std::optional<std::string> host_device(Service& service, uint32_t devId, UsbDevice*& device) {
    UsbBoard& b = board(service);
    if (b.setupError) return *b.setupError;
    device = b.device(devId);
    if (!device) return "no such " + device_text(devId);
    if (!device->has_terminal()) return device_text(devId) + " has no terminal";
    return std::nullopt;
}

}  // namespace

std::optional<std::string> usb_host_write(Service& service, uint32_t devId, const std::vector<uint8_t>& bytes) {
    UsbDevice* device = nullptr;
    if (auto failure = host_device(service, devId, device)) return failure;
    if (!device->send(bytes)) return std::string("write failed: ") + std::strerror(errno);
    return std::nullopt;
}

std::optional<std::string> usb_host_read(Service& service, uint32_t devId, size_t min, size_t max, uint32_t waitMs,
                                         std::vector<uint8_t>& out) {
    UsbDevice* device = nullptr;
    if (auto failure = host_device(service, devId, device)) return failure;
    device->receive(min, max, waitMs, out);
    return std::nullopt;
}

std::optional<std::string> usb_host_describe(Service& service, uint32_t devId, std::string& path,
                                             std::string& lockedBy) {
    UsbBoard& b = board(service);
    std::lock_guard lock(b.mutex);
    if (b.setupError) return *b.setupError;
    UsbDevice* device = b.device(devId);
    if (!device) return "no such " + device_text(devId);
    path = device->path();
    auto held = b.locks.find(devId);
    lockedBy = held == b.locks.end() ? "" : held->second;
    return std::nullopt;
}

}  // namespace zxsim
