// USB device access. Ownership and the device file of a device id belong to "usb_mngt"; the data
// path (open, select, read, write, terminal settings) runs here on the file it named. Every record
// of this unit names the source "../velm/zx_velm_jni_api".
#include "zx_velm_usb.h"

#include <termios.h>

#include <cerrno>
#include <cstring>
#include <mutex>
#include <optional>
#include <unordered_set>

#include "trace_unit.h"
#include "zx_velm_jni_api.h"

namespace {

using zxtrace::kVelmApi;  // every record of this file
using zxtrace::operator""_ln;
using zxtrace::Line;

// Descriptors above this are refused by the data-available check.
constexpr int32_t kMaxHandle = 51579;
// The data-available wait.
constexpr int64_t kAvailableWaitSec = 4;

// The serial-line failures are all told by the rate table's size.
constexpr uint32_t kSerialCode = 31;
// The hardware flow-control bit (the value of CRTSCTS) belongs in the input-mode word here.
constexpr tcflag_t kHwFlowInputBit = 0x80000000u;

struct Rate {
    uint32_t rate;
    speed_t speed;
};
// The accepted rates in their order of lookup (38400 stands before 19200).
constexpr Rate kRates[] = {
    {0, B0},
    {50, B50},
    {75, B75},
    {110, B110},
    {134, B134},
    {150, B150},
    {200, B200},
    {300, B300},
    {600, B600},
    {1200, B1200},
    {1800, B1800},
    {2400, B2400},
    {4800, B4800},
    {9600, B9600},
    {38400, B38400},
    {19200, B19200},
    {57600, B57600},
    {115200, B115200},
    {230400, B230400},
    {460800, B460800},
    {500000, B500000},
    {1152000, B1152000},
    {576000, B576000},
    {1500000, B1500000},
    {2500000, B2500000},
    {2000000, B2000000},
    {921600, B921600},
    {1000000, B1000000},
    {3000000, B3000000},
    {3500000, B3500000},
    {4000000, B4000000},
};
static_assert(sizeof kRates / sizeof kRates[0] == kSerialCode);

void write_ok(char* buf, uint32_t size) { ZX_OS_Snprintf_S(buf, size, size, "{\"%s\":%d}", "Result", 0); }

void write_reason(char* buf, uint32_t size, int32_t result, const char* reason) {
    ZX_OS_Snprintf_S(buf, size, size, "{\"%s\":%d,\"%s\":\"%s\"}", "Result", result, "FailReason", reason);
}

// A local failure: no service reason to tell.
void write_failed(char* buf, uint32_t size, int32_t result) { write_reason(buf, size, result, ""); }

void write_pair(char* buf, uint32_t size, const char* name, int32_t value) {
    ZX_OS_Snprintf_S(buf, size, size, "{\"%s\":%d,\"%s\":%d}", "Result", 0, name, value);
}

using zxtrace::word;

// Waits for the handle to become readable: the select result. A null time-out waits without limit.
int32_t wait_readable(uint32_t handle, ZX_TIMEVAL* timeout) {
    ZX_FD_SET readSet;
    ZX_OS_FdZero(&readSet);
    ZX_OS_FdSet(static_cast<int32_t>(handle), &readSet);
    // The count of descriptors is taken in unsigned arithmetic: a handle of 2^31 - 1 wraps to a
    // negative count the platform refuses, never to a signed overflow.
    return ZX_OS_Select(static_cast<int32_t>(handle + 1u), &readSet, nullptr, nullptr, timeout);
}

// The request every ownership call sends to "usb_mngt", answered with a result and a reason.
uint32_t ask(uint32_t msgId, const void* req, uint32_t reqLen, ZX_WIRE_RESULT_REASON_S& reply) {
    std::memset(&reply, 0, sizeof reply);
    return OSGi_JNI_MSG_RpcCall(msgId, req, reqLen, &reply, sizeof reply);
}

uint32_t plugin_request(uint32_t msgId, const char* plugId, uint32_t type, ZX_WIRE_RESULT_REASON_S& reply) {
    ZX_USB_PLUGIN_REQ_S req;
    std::memset(&req, 0, sizeof req);
    req.uiDevType = type;
    ZX_OS_StrNCpy_S(req.acPlugId, sizeof req.acPlugId, plugId, sizeof req.acPlugId - 1);
    return ask(msgId, &req, sizeof req, reply);
}

uint32_t lock_family(uint32_t msgId, uint32_t devId, char* buf, uint32_t size, Line bufLine, Line failLine) {
    if (!buf) {
        kVelmApi.last_word(bufLine, 1);
        return 1;
    }
    ZX_WIRE_RESULT_REASON_S reply;
    uint32_t code = ask(msgId, &devId, sizeof devId, reply);
    if (code != 0) {
        kVelmApi.last_word(failLine, code);
        return code;
    }
    return ZX_JNI_BuildResultJson(buf, size, &reply);
}

// A setting refused by its table: the line that records it and the value given.
struct Rejection {
    Line line;
    uint32_t value;
};

// Character size, stop bits and parity into the attributes, or the first setting refused.
std::optional<Rejection> apply_frame(termios& tio, uint32_t bits, uint32_t stopBits, uint32_t parity) {
    switch (bits) {
        case 5: tio.c_cflag |= CS5; break;
        case 6: tio.c_cflag |= CS6; break;
        case 7: tio.c_cflag |= CS7; break;
        case 8: tio.c_cflag |= CS8; break;
        default: return Rejection{1803_ln, bits};
    }
    switch (stopBits) {
        case 1: tio.c_cflag &= ~CSTOPB; break;
        case 2: tio.c_cflag |= CSTOPB; break;
        default: return Rejection{1821_ln, stopBits};
    }
    switch (parity) {
        case 0: tio.c_cflag &= ~PARENB; return std::nullopt;
        case 1: tio.c_cflag = (tio.c_cflag | PARENB) & ~PARODD; break;
        case 2: tio.c_cflag |= PARENB | PARODD; break;
        case 3: tio.c_cflag |= CMSPAR | PARODD; break;                  // mark: PARENB stays as it was
        case 4: tio.c_cflag = (tio.c_cflag | CMSPAR) & ~PARODD; break;  // space: likewise
        default: return Rejection{1857_ln, parity};
    }
    tio.c_iflag |= INPCK;
    return std::nullopt;
}

void apply_flow_and_raw(termios& tio, bool hardware, bool software) {
    if (hardware)
        tio.c_iflag |= kHwFlowInputBit;
    else
        tio.c_iflag &= ~kHwFlowInputBit;
    if (software)
        tio.c_iflag |= IXON | IXOFF | IXANY;
    else
        tio.c_iflag &= ~(IXON | IXOFF | IXANY);
    tio.c_iflag &= ~(INLCR | IGNCR | ICRNL);
    tio.c_lflag &= ~(ISIG | ICANON | ECHO | ECHOE);
    tio.c_oflag &= ~OPOST;
    tio.c_cc[VMIN] = 0;
}

// The descriptors UsbOpen handed out and no close has taken back. Close takes back only these: any
// other number belongs to the JVM or the gateway's own code (its standard output, a jar, a bus
// socket), and closing it would let a later open reuse the number behind its owner's back.
class OpenHandles {
public:
    void add(int32_t fd) {
        std::lock_guard lock(mutex_);
        fds_.insert(Descriptor{fd});
    }
    bool take(int32_t fd) {
        std::lock_guard lock(mutex_);
        return fds_.erase(Descriptor{fd}) != 0;
    }

private:
    // Key and hash of this unit's own keep every piece of the set's code local to the library: a
    // set of plain ints would export its rehash and node allocation beside the library's functions.
    struct Descriptor {
        int32_t fd;
        bool operator==(const Descriptor&) const = default;
    };
    struct DescriptorHash {
        size_t operator()(const Descriptor& d) const noexcept { return static_cast<uint32_t>(d.fd); }
    };

    std::mutex mutex_;
    std::unordered_set<Descriptor, DescriptorHash> fds_;
};

OpenHandles& open_handles() {
    static OpenHandles handles;
    return handles;
}

const Rate* find_rate(uint32_t rate) {
    for (const Rate& r : kRates)
        if (r.rate == rate) return &r;
    return nullptr;
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// Registration and lock
// ---------------------------------------------------------------------------------------------

extern "C" uint32_t ZX_JNI_UsbRegister(const char* pcPlugId, uint32_t uiDevType, char* buf, uint32_t size) {
    if (!pcPlugId) {
        kVelmApi.last_word(1342_ln, 1);
        return 1;
    }
    if (!buf) {
        kVelmApi.last_word(1343_ln, 1);
        return 1;
    }
    ZX_WIRE_RESULT_REASON_S reply;
    uint32_t code = plugin_request(ZX_USB_RPC_REGISTER, pcPlugId, uiDevType, reply);
    if (code != 0) {
        kVelmApi.last_word(1354_ln, code, uiDevType, 0, 0, 0);
        return code;
    }
    return ZX_JNI_BuildResultJson(buf, size, &reply);
}

extern "C" uint32_t ZX_JNI_UsbUnregister(const char* pcPlugId, char* buf, uint32_t size) {
    if (!pcPlugId) {
        kVelmApi.last_word(1388_ln, 1);
        return 1;
    }
    if (!buf) {
        kVelmApi.last_word(1389_ln, 1);
        return 1;
    }
    ZX_WIRE_RESULT_REASON_S reply;
    uint32_t code = plugin_request(ZX_USB_RPC_UNREGISTER, pcPlugId, 0, reply);
    if (code != 0) {
        kVelmApi.last_word(1399_ln, code);
        return code;
    }
    return ZX_JNI_BuildResultJson(buf, size, &reply);
}

extern "C" uint32_t ZX_JNI_UsbLock(uint32_t uiDevId, char* buf, uint32_t size) {
    return lock_family(ZX_USB_RPC_LOCK, uiDevId, buf, size, 1433_ln, 1441_ln);
}

extern "C" uint32_t ZX_JNI_UsbUnLock(uint32_t uiDevId, char* buf, uint32_t size) {
    return lock_family(ZX_USB_RPC_UNLOCK, uiDevId, buf, size, 1475_ln, 1483_ln);
}

extern "C" uint32_t ZX_JNI_UsbUnregisterAll(void) {
    uint32_t code = OSGi_JNI_MSG_RpcCall(ZX_USB_RPC_UNREGISTER_ALL, nullptr, 0, nullptr, 0);
    if (code != 0) kVelmApi.last_word(2203_ln, code);
    return code;
}

// ---------------------------------------------------------------------------------------------
// Open and close
// ---------------------------------------------------------------------------------------------

extern "C" uint32_t ZX_JNI_UsbOpen(uint32_t uiDevId, char* buf, uint32_t size) {
    if (!buf) {
        kVelmApi.last_word(1223_ln, 1);
        return 1;
    }
    ZX_USB_OPEN_REPLY_S reply;
    std::memset(&reply, 0, sizeof reply);
    uint32_t code = OSGi_JNI_MSG_RpcCall(ZX_USB_RPC_OPEN, &uiDevId, sizeof uiDevId, &reply, sizeof reply);
    if (code != 0) {
        kVelmApi.last_word(1233_ln, code, uiDevId, 0, 0, 0);
        return code;
    }
    // A service filling every byte still leaves texts that end inside their fields.
    reply.acDevPath[sizeof reply.acDevPath - 1] = '\0';
    reply.acFailReason[sizeof reply.acFailReason - 1] = '\0';
    if (reply.iResult != 0) {
        write_reason(buf, size, reply.iResult, reply.acFailReason);
    } else {
        int32_t fd = ZX_OS_Open(reply.acDevPath, 2, 0);
        if (fd < 0) {
            kVelmApi.last_word(1250_ln, static_cast<uint32_t>(fd), static_cast<uint32_t>(ZX_OS_GetLastErr()), 0, 0, 0);
            write_reason(buf, size, -1, reply.acFailReason);
        } else {
            open_handles().add(fd);
            ZX_OS_Printf("ZX_JNI_UsbOpen : %d.\n", fd);
            write_pair(buf, size, "Handle", fd);
        }
    }
    ZX_OS_Printf("  %s  \n", buf);
    return 0;
}

extern "C" uint32_t ZX_JNI_UsbClose(uint32_t uiHandle, char* buf, uint32_t size) {
    if (!buf) {
        kVelmApi.last_word(1294_ln, 1);
        return 1;
    }
    // A number that is not an open handle is told like a descriptor that is already closed.
    const int32_t fd = static_cast<int32_t>(uiHandle);
    int32_t result = -1;
    int32_t error = EBADF;
    if (open_handles().take(fd)) {
        result = ZX_OS_Close(fd);
        error = ZX_OS_GetLastErr();
    }
    if (result != 0) {
        kVelmApi.last_word(1300_ln, static_cast<uint32_t>(result), static_cast<uint32_t>(error), 0, 0, 0);
        write_failed(buf, size, -1);
    } else {
        write_ok(buf, size);
    }
    ZX_OS_Printf("  %s  \n", buf);
    return 0;
}

// ---------------------------------------------------------------------------------------------
// Data
// ---------------------------------------------------------------------------------------------

extern "C" uint32_t ZX_JNI_UsbDataAvailable(uint32_t uiHandle, uint32_t* puiFlag) {
    if (!puiFlag) return 0;
    if (static_cast<int32_t>(uiHandle) > kMaxHandle) {
        kVelmApi.last_word(1519_ln, 1);
        *puiFlag = 0;
        return 0;
    }
    ZX_TIMEVAL wait{kAvailableWaitSec, 0};
    int32_t ready = wait_readable(uiHandle, &wait);
    if (ready < 0) {
        kVelmApi.last_word(1532_ln, 1);
        *puiFlag = 0;
        return 0;
    }
    *puiFlag = ready != 0 ? 1 : 0;
    return 0;
}

extern "C" uint32_t ZX_JNI_UsbRead(uint32_t uiHandle, uint8_t* pucData, uint32_t uiOffset, uint32_t uiLen,
                                   int32_t iTimeOut, char* buf, uint32_t size) {
    if (!pucData || static_cast<int32_t>(uiHandle) < 0 || static_cast<int32_t>(uiOffset) < 0 ||
        static_cast<int32_t>(uiLen) < 0) {
        kVelmApi.last_word(1584_ln, 1, uiHandle, word(pucData), uiOffset, uiLen);
        return 1;
    }
    ZX_TIMEVAL wait{iTimeOut, 0};
    int32_t ready = wait_readable(uiHandle, iTimeOut < 0 ? nullptr : &wait);
    if (ready == 0) {
        if (iTimeOut == 0) {  // a poll that finds nothing is a success
            write_pair(buf, size, "Len", 0);
            return 0;
        }
        kVelmApi.trace(1612_ln, "ZX_JNI_UsbRead timeout:%d errno:%d iHandle:%d", iTimeOut, ZX_OS_GetLastErr(),
                       static_cast<int32_t>(uiHandle));
        kVelmApi.last_word(1613_ln, 1);
        write_failed(buf, size, -2);
        return 0;
    }
    if (ready < 0) {
        kVelmApi.trace(1620_ln, "ZX_JNI_UsbRead errno:%d iHandle:%d", ZX_OS_GetLastErr(),
                       static_cast<int32_t>(uiHandle));
        kVelmApi.last_word(1621_ln, 1);
        write_failed(buf, size, -1);
        return 0;
    }
    uint8_t* data = pucData + uiOffset;
    int32_t count = ZX_OS_Read(static_cast<int32_t>(uiHandle), data, uiLen);
    if (count < 0) {
        kVelmApi.last_word(1630_ln, 1);
        write_failed(buf, size, -1);
        return 0;
    }
    // The data as text: up to its first NUL, never past what was read.
    const char* text = reinterpret_cast<const char*>(data);
    kVelmApi.trace(1635_ln, "ZX_JNI_UsbRead: Len:%u Data:%.*s", static_cast<uint32_t>(count),
                   static_cast<int>(strnlen(text, static_cast<size_t>(count))), text);
    for (int32_t i = 0; i < count; ++i) kVelmApi.trace(1638_ln, "%02x ", data[i]);
    write_pair(buf, size, "Len", count);
    return 0;
}

extern "C" uint32_t ZX_JNI_UsbWrite(uint32_t uiHandle, const uint8_t* pucData, uint32_t uiOffset, uint32_t uiLen,
                                    char* buf, uint32_t size) {
    if (!pucData || static_cast<int32_t>(uiHandle) < 0 || static_cast<int32_t>(uiOffset) < 0 ||
        static_cast<int32_t>(uiLen) < 0) {
        kVelmApi.last_word(1681_ln, 1, uiHandle, word(pucData), uiOffset, uiLen);
        write_failed(buf, size, -1);
        return 0;
    }
    const uint8_t* data = pucData + uiOffset;
    const char* text = reinterpret_cast<const char*>(data);
    kVelmApi.trace(1686_ln, "ZX_JNI_UsbWrite: Len:%u Data:%.*s", uiLen, static_cast<int>(strnlen(text, uiLen)), text);
    int32_t written = ZX_OS_Write(static_cast<int32_t>(uiHandle), data, uiLen);
    if (written < 0) {
        kVelmApi.last_word(1692_ln, 1, static_cast<uint32_t>(written), uiHandle, uiOffset, uiLen);
        write_failed(buf, size, -1);
        return 0;
    }
    write_pair(buf, size, "Len", written);
    return 0;
}

// ---------------------------------------------------------------------------------------------
// Serial line
// ---------------------------------------------------------------------------------------------

extern "C" uint32_t ZX_JNI_UsbSetSerial(uint32_t uiHandle, uint32_t iRate, uint32_t iParity, uint32_t iRits,
                                        uint32_t iStopBits, uint8_t iHwFlowCtl, uint8_t iSwFlowCtl, char* buf,
                                        uint32_t size) {
    const int fd = static_cast<int>(uiHandle);
    const Rate* rate = find_rate(iRate);
    if (!rate) {
        kVelmApi.last_word(1762_ln, kSerialCode);
        write_failed(buf, size, -1);
        return 0;
    }
    termios tio;
    int result = tcgetattr(fd, &tio);
    if (result != 0) {
        kVelmApi.last_word(1770_ln, kSerialCode, static_cast<uint32_t>(ZX_OS_GetLastErr()), 0, 0, 0);
        write_failed(buf, size, result);
        return 0;
    }
    // The queues are flushed before the settings are checked: a rejected frame still flushes.
    tcflush(fd, TCIOFLUSH);
    cfsetispeed(&tio, rate->speed);
    cfsetospeed(&tio, rate->speed);
    tio.c_cflag &= ~CSIZE;
    if (std::optional<Rejection> refused = apply_frame(tio, iRits, iStopBits, iParity)) {
        kVelmApi.last_word(refused->line, 1, refused->value, static_cast<uint32_t>(ZX_OS_GetLastErr()), 0, 0);
        write_failed(buf, size, -1);
        return 0;
    }
    apply_flow_and_raw(tio, iHwFlowCtl != 0, iSwFlowCtl != 0);
    if (tcsetattr(fd, TCSANOW, &tio) != 0) {
        kVelmApi.last_word(1898_ln, 1, uiHandle, static_cast<uint32_t>(ZX_OS_GetLastErr()), 0, 0);
        write_failed(buf, size, -1);
        return 0;
    }
    tcflush(fd, TCIOFLUSH);
    write_ok(buf, size);
    return 0;
}
