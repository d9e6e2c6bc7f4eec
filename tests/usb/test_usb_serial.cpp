// The serial line of a USB device: rates, frame, parity, flow control and raw mode, judged by what
// the terminal holds afterwards (tcgetattr on the handle, stty on the device path) and, for what a
// pseudo-terminal does not keep, by the attributes handed to tcsetattr.
#include <fcntl.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include "usb_fixture.h"

namespace usbtest {
namespace {

constexpr const char* kOk = "{\"Result\":0}";
constexpr const char* kRejected = "{\"Result\":-1,\"FailReason\":\"\"}";

struct RateCase {
    uint32_t rate;
    speed_t speed;
};
constexpr RateCase kRates[] = {
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

// Whether this machine's terminals keep a setting: a fresh pseudo-terminal is given it and asked
// back. Under qemu-user they keep neither the rates above 460800 nor CMSPAR (the emulator's
// translation of terminal attributes has no entry for them), whatever the library asks. A setting
// the terminal cannot keep is judged by what the library handed to tcsetattr, and the test says
// so on its output.
template <class Change, class Kept>
bool terminal_keeps(Change change, Kept kept) {
    const TermiosLog saved = termios_log();  // the probe's own tcsetattr is not the library's
    bool result = false;
    int master = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (master >= 0 && grantpt(master) == 0 && unlockpt(master) == 0) {
        int pty = open(ptsname(master), O_RDWR | O_NOCTTY | O_CLOEXEC);
        termios tio{};
        if (pty >= 0 && tcgetattr(pty, &tio) == 0) {
            change(tio);
            result = tcsetattr(pty, TCSANOW, &tio) == 0 && tcgetattr(pty, &tio) == 0 && kept(tio);
        }
        if (pty >= 0) close(pty);
    }
    if (master >= 0) close(master);
    termios_log() = saved;
    return result;
}

bool terminal_keeps_rate(speed_t speed) {
    return terminal_keeps([speed](termios& t) { cfsetspeed(&t, speed); },
                          [speed](const termios& t) { return cfgetospeed(&t) == speed && cfgetispeed(&t) == speed; });
}

bool terminal_keeps_cmspar() {
    return terminal_keeps([](termios& t) { t.c_cflag |= CMSPAR; },
                          [](const termios& t) { return (t.c_cflag & CMSPAR) != 0; });
}

void note_not_kept(const std::string& what) {
    std::printf("[   NOTE   ] this machine's terminals do not keep %s: judged by the request alone\n", what.c_str());
    testing::Test::RecordProperty("not_kept_by_terminal", what);
}

class UsbSerial : public UsbTest {
protected:
    void SetUp() override {
        UsbTest::SetUp();
        handle_ = open_device("plugH", 2, kHostDevice);
        ASSERT_GE(handle_, 0);
        termios_log() = TermiosLog{};
        traces();
    }

    // usbSetSerial with the text it wrote.
    std::string set(uint32_t rate, uint32_t parity, uint32_t bits, uint32_t stop, uint8_t hw, uint8_t sw) {
        char buf[128] = {};
        EXPECT_EQ(ZX_JNI_UsbSetSerial(handle_, rate, parity, bits, stop, hw, sw, buf, sizeof buf), 0u);
        return buf;
    }

    termios held() {
        termios tio{};
        EXPECT_EQ(tcgetattr(handle_, &tio), 0);
        return tio;
    }

    // `stty -a -F` of the device's path, as words.
    std::string stty() {
        std::string command = "stty -a -F " + device_path(kHostDevice);
        std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command.c_str(), "r"), pclose);
        std::string out = " ";
        char chunk[512];
        while (pipe && fgets(chunk, sizeof chunk, pipe.get())) out += chunk;
        for (char& c : out)
            if (c == '\n' || c == ';') c = ' ';
        return out + " ";
    }

    static bool has_word(const std::string& text, const std::string& word) {
        return text.find(" " + word + " ") != std::string::npos;
    }

    int handle_ = -1;
};

TEST_F(UsbSerial, EveryRateReachesTheTerminal) {
    std::string notKept;
    for (const RateCase& c : kRates) {
        SCOPED_TRACE(c.rate);
        // The rate before is different, so a rate that is not applied shows.
        ASSERT_EQ(set(c.rate == 9600 ? 1200 : 9600, 0, 8, 1, 0, 0), kOk);
        ASSERT_EQ(set(c.rate, 0, 8, 1, 0, 0), kOk);
        const termios& asked = termios_log().last;
        EXPECT_EQ(cfgetospeed(&asked), c.speed);
        EXPECT_EQ(cfgetispeed(&asked), c.speed);
        if (!terminal_keeps_rate(c.speed)) {
            notKept += (notKept.empty() ? "" : " ") + std::to_string(c.rate);
            continue;
        }
        termios tio = held();
        EXPECT_EQ(cfgetospeed(&tio), c.speed);
        EXPECT_EQ(cfgetispeed(&tio), c.speed);
    }
    if (!notKept.empty()) note_not_kept("the rates " + notKept);
    expect_no_failure_records();
}

TEST_F(UsbSerial, RatesOutOfNumericOrderAndStty) {
    ASSERT_EQ(set(38400, 0, 8, 1, 0, 0), kOk);
    termios tio = held();
    EXPECT_EQ(cfgetospeed(&tio), B38400);
    EXPECT_NE(stty().find("speed 38400 baud"), std::string::npos) << stty();
    ASSERT_EQ(set(19200, 0, 8, 1, 0, 0), kOk);
    tio = held();
    EXPECT_EQ(cfgetospeed(&tio), B19200);
    EXPECT_NE(stty().find("speed 19200 baud"), std::string::npos) << stty();
}

TEST_F(UsbSerial, UnknownRateIsRejectedBeforeTheTerminalIsTouched) {
    ASSERT_EQ(set(9600, 0, 8, 1, 0, 0), kOk);
    int callsBefore = termios_log().calls;
    traces();
    EXPECT_EQ(set(14400, 0, 8, 1, 0, 0), kRejected);
    EXPECT_EQ(termios_log().calls, callsBefore);
    termios tio = held();
    EXPECT_EQ(cfgetospeed(&tio), B9600);
    expect_last_word_1(traces(), 1762, 31);
}

TEST_F(UsbSerial, DataBitsAreRequestedAndOthersRejected) {
    // A pseudo-terminal holds eight bits whatever is asked (and may refuse six or seven), so the
    // character size is judged by the request alone.
    termios_log().recordOnly = true;
    const std::pair<uint32_t, tcflag_t> sizes[] = {{5, CS5}, {6, CS6}, {7, CS7}, {8, CS8}};
    for (auto [bits, flag] : sizes) {
        SCOPED_TRACE(bits);
        ASSERT_EQ(set(9600, 0, bits, 1, 0, 0), kOk);
        EXPECT_EQ(termios_log().last.c_cflag & CSIZE, flag);
    }
    for (uint32_t bits : {4u, 9u, 0u}) {
        SCOPED_TRACE(bits);
        int callsBefore = termios_log().calls;
        EXPECT_EQ(set(9600, 0, bits, 1, 0, 0), kRejected);
        EXPECT_EQ(termios_log().calls, callsBefore) << "a rejected setting never reaches the device";
        expect_last_word(traces(), 1803, 1, {bits});
    }
}

TEST_F(UsbSerial, StopBits) {
    ASSERT_EQ(set(9600, 0, 8, 2, 0, 0), kOk);
    EXPECT_NE(held().c_cflag & CSTOPB, 0u);
    EXPECT_TRUE(has_word(stty(), "cstopb"));
    ASSERT_EQ(set(9600, 0, 8, 1, 0, 0), kOk);
    EXPECT_EQ(held().c_cflag & CSTOPB, 0u);
    EXPECT_TRUE(has_word(stty(), "-cstopb"));
    traces();
    for (uint32_t stop : {0u, 3u}) {
        SCOPED_TRACE(stop);
        EXPECT_EQ(set(9600, 0, 8, stop, 0, 0), kRejected);
        expect_last_word(traces(), 1821, 1, {stop});
    }
    EXPECT_EQ(held().c_cflag & CSTOPB, 0u);
}

TEST_F(UsbSerial, ParityTable) {
    struct Case {
        uint32_t parity;
        bool parenb, parodd, cmspar, inpck;
    };
    // Starting from a port with every parity bit clear and INPCK clear.
    const Case cases[] = {
        {0, false, false, false, false}, {1, true, false, false, true}, {2, true, true, false, true},
        {3, false, true, true, true},    {4, false, false, true, true},
    };
    const bool cmsparKept = terminal_keeps_cmspar();
    for (const Case& c : cases) {
        SCOPED_TRACE(c.parity);
        termios clean = held();
        clean.c_cflag &= ~(PARENB | PARODD | CMSPAR);
        clean.c_iflag &= ~INPCK;
        ASSERT_EQ(tcsetattr(handle_, TCSANOW, &clean), 0);
        ASSERT_EQ(set(9600, c.parity, 8, 1, 0, 0), kOk);
        const termios& asked = termios_log().last;
        EXPECT_EQ((asked.c_cflag & PARENB) != 0, c.parenb);
        EXPECT_EQ((asked.c_cflag & PARODD) != 0, c.parodd);
        EXPECT_EQ((asked.c_cflag & CMSPAR) != 0, c.cmspar);
        EXPECT_EQ((asked.c_iflag & INPCK) != 0, c.inpck);
        // What the terminal keeps: all but PARENB, which a pseudo-terminal always clears.
        termios tio = held();
        EXPECT_EQ((tio.c_cflag & PARODD) != 0, c.parodd);
        EXPECT_EQ((tio.c_iflag & INPCK) != 0, c.inpck);
        std::string words = stty();
        EXPECT_TRUE(has_word(words, c.parodd ? "parodd" : "-parodd")) << words;
        EXPECT_TRUE(has_word(words, c.inpck ? "inpck" : "-inpck")) << words;
        if (cmsparKept) {
            EXPECT_EQ((tio.c_cflag & CMSPAR) != 0, c.cmspar);
            EXPECT_TRUE(has_word(words, c.cmspar ? "cmspar" : "-cmspar")) << words;
        }
    }
    if (!cmsparKept) note_not_kept("CMSPAR");
    expect_no_failure_records();
    for (uint32_t parity : {5u, 0xFFFFFFFFu}) {
        SCOPED_TRACE(parity);
        EXPECT_EQ(set(9600, parity, 8, 1, 0, 0), kRejected);
        expect_last_word(traces(), 1857, 1, {parity});
    }
}

TEST_F(UsbSerial, MarkAndSpaceLeavePARENBAsItWas) {
    // The port reports PARENB set: mark and space keep it, plain parity 0 clears it.
    termios_log().reportParenb = true;
    ASSERT_EQ(set(9600, 3, 8, 1, 0, 0), kOk);
    EXPECT_NE(termios_log().last.c_cflag & PARENB, 0u);
    ASSERT_EQ(set(9600, 4, 8, 1, 0, 0), kOk);
    EXPECT_NE(termios_log().last.c_cflag & PARENB, 0u);
    ASSERT_EQ(set(9600, 0, 8, 1, 0, 0), kOk);
    EXPECT_EQ(termios_log().last.c_cflag & PARENB, 0u);
    // And a port whose PARENB was clear keeps it clear.
    termios_log().reportParenb = false;
    ASSERT_EQ(set(9600, 3, 8, 1, 0, 0), kOk);
    EXPECT_EQ(termios_log().last.c_cflag & PARENB, 0u);
    EXPECT_EQ(held().c_cflag & PARENB, 0u);
}

TEST_F(UsbSerial, HardwareFlowControlSitsInTheInputModeWord) {
    ASSERT_EQ(set(9600, 0, 8, 1, 1, 0), kOk);
    EXPECT_EQ(termios_log().last.c_iflag & 0x80000000u, 0x80000000u);
    EXPECT_EQ(termios_log().last.c_cflag & CRTSCTS, 0u) << "the control-mode word is not touched";
    ASSERT_EQ(set(9600, 0, 8, 1, 0, 0), kOk);
    EXPECT_EQ(termios_log().last.c_iflag & 0x80000000u, 0u);
    EXPECT_TRUE(has_word(stty(), "-crtscts"));
}

TEST_F(UsbSerial, SoftwareFlowControlAndRawMode) {
    ASSERT_EQ(set(9600, 0, 8, 1, 0, 1), kOk);
    termios tio = held();
    EXPECT_EQ(tio.c_iflag & (IXON | IXOFF | IXANY), static_cast<tcflag_t>(IXON | IXOFF | IXANY));
    EXPECT_EQ(tio.c_iflag & (INLCR | IGNCR | ICRNL), 0u);
    std::string words = stty();
    for (const char* w :
         {"ixon", "ixoff", "ixany", "-inlcr", "-igncr", "-icrnl", "-isig", "-icanon", "-echo", "-echoe", "-opost"})
        EXPECT_TRUE(has_word(words, w)) << w << " in" << words;
    EXPECT_NE(words.find("min = 0"), std::string::npos) << words;

    ASSERT_EQ(set(9600, 0, 8, 1, 0, 0), kOk);
    tio = held();
    EXPECT_EQ(tio.c_iflag & (IXON | IXOFF | IXANY), 0u);
    words = stty();
    for (const char* w : {"-ixon", "-ixoff", "-ixany"}) EXPECT_TRUE(has_word(words, w)) << w << " in" << words;
}

TEST_F(UsbSerial, RawModeFromACookedPortKeepsVTIME) {
    termios cooked = held();
    cooked.c_lflag |= ISIG | ICANON | ECHO | ECHOE;
    cooked.c_oflag |= OPOST;
    cooked.c_iflag |= INLCR | ICRNL;
    cooked.c_cc[VMIN] = 5;
    cooked.c_cc[VTIME] = 7;
    ASSERT_EQ(tcsetattr(handle_, TCSANOW, &cooked), 0);
    ASSERT_EQ(set(115200, 0, 8, 1, 0, 0), kOk);
    termios tio = held();
    EXPECT_EQ(tio.c_lflag & (ISIG | ICANON | ECHO | ECHOE), 0u);
    EXPECT_EQ(tio.c_oflag & OPOST, 0u);
    EXPECT_EQ(tio.c_iflag & (INLCR | ICRNL), 0u);
    EXPECT_EQ(tio.c_cc[VMIN], 0);
    EXPECT_EQ(tio.c_cc[VTIME], 7) << "VTIME is left as read";
}

TEST_F(UsbSerial, TerminalFailures) {
    // A pipe has no terminal attributes.
    int fds[2];
    ASSERT_EQ(pipe(fds), 0);
    handles_.push_back(fds[0]);
    handles_.push_back(fds[1]);
    char buf[128] = {};
    EXPECT_EQ(ZX_JNI_UsbSetSerial(fds[0], 9600, 0, 8, 1, 0, 0, buf, sizeof buf), 0u);
    EXPECT_STREQ(buf, kRejected);
    expect_last_word(traces(), 1770, 31, {ENOTTY, 0, 0, 0});

    termios_log().failSet = true;
    EXPECT_EQ(set(9600, 0, 8, 1, 0, 0), kRejected);
    expect_last_word(traces(), 1898, 1, {static_cast<uint32_t>(handle_), EIO, 0, 0});
}

}  // namespace
}  // namespace usbtest
