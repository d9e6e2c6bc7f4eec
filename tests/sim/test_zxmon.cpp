// The live bus monitor end to end: gatewaysim and zxmon on a private bus directory, calls of every
// service made through the bridge library (or the platform's bus where the library sends nothing),
// and the lines zxmon prints, decoded by the wire catalogue. And the tap itself: nothing leaves a
// process while nobody watches.
#include <gtest/gtest.h>
#include <fcntl.h>
#include <json-c/json.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "l2tp_api.h"
#include "sim_process.h"
#include "test_env.h"
#include "tool_process.h"
#include "zx_bus_monitor.h"
#include "zx_host.h"
#include "zx_platform.h"
#include "zx_velm_capability.h"
#include "zx_velm_jni_api.h"
#include "zx_velm_storage.h"
#include "zx_wire.h"
#include "zx_zel_jni_api.h"


namespace {

using zxtest::JsonPtr;
using zxtest::SimProcess;
using zxtest::ToolProcess;

std::vector<std::string> lines_of(const std::string& text) {
    std::vector<std::string> out;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);)
        if (!line.empty()) out.push_back(line);
    return out;
}

bool has_monitor_file(const std::string& busDir) {
    return std::filesystem::exists(std::filesystem::symlink_status(busDir + "/" ZX_BUS_MONITOR_NAME));
}

// zxmon as a child process, its output in files outside the bus directory.
class Zxmon {
public:
    explicit Zxmon(std::vector<std::string> args) : args_(std::move(args)) {}
    ~Zxmon() { stop(); }

    // Starts zxmon and waits for its "watching" line: from then on every caller reports to it.
    testing::AssertionResult start() {
        process_ = std::make_unique<ToolProcess>(std::string(ZX_BINARY_DIR) + "/bin/zxmon", args_);
        if (!process_->started()) return testing::AssertionFailure() << process_->start_error();
        // A bound against a monitor that never gets going, not a measure of its speed.
        if (process_->wait_for_error("zxmon: watching ")) return testing::AssertionSuccess();
        if (process_->exited(false)) return testing::AssertionFailure() << "zxmon ended: " << err();
        return testing::AssertionFailure() << "zxmon never said it watches: " << err();
    }

    // Waits until zxmon printed n lines (true), or 30 s passed.
    bool wait_lines(size_t n) {
        for (int i = 0; i < 3000; ++i) {
            if (lines().size() >= n) return true;
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return false;
    }

    // Waits for zxmon to end by itself (--count); its exit status, or -1.
    int wait_exit() {
        if (!process_) return -1;
        for (int i = 0; i < 3000; ++i) {
            if (process_->exited(false)) break;
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return process_->status();
    }

    void kill_hard() {
        if (!process_) return;
        process_->signal(SIGKILL);
        process_->exited(true);
    }

    void stop() {
        if (!process_) return;
        process_->signal(SIGTERM);
        process_->exited(true);
    }

    std::vector<std::string> lines() const { return process_ ? lines_of(process_->out()) : std::vector<std::string>{}; }
    std::string err() const { return process_ ? process_->err() : ""; }

    // Every line parsed as JSON (a line that is not JSON fails the test).
    std::vector<JsonPtr> objects() const {
        std::vector<JsonPtr> out;
        for (const std::string& line : lines()) {
            json_object* o = json_tokener_parse(line.c_str());
            EXPECT_NE(o, nullptr) << "not JSON: " << line;
            if (o) out.emplace_back(o);
        }
        return out;
    }

private:
    std::vector<std::string> args_;
    std::unique_ptr<ToolProcess> process_;
};

json_object* get(json_object* o, const char* key) {
    json_object* v = nullptr;
    return o && json_object_object_get_ex(o, key, &v) ? v : nullptr;
}

std::string text(json_object* o, const char* key) {
    json_object* v = get(o, key);
    return v && json_object_is_type(v, json_type_string) ? json_object_get_string(v) : "";
}

// The first line for this command (by its catalogue name), or null.
json_object* line_of(const std::vector<JsonPtr>& objs, const std::string& command) {
    for (const JsonPtr& o : objs)
        if (text(o.get(), "command") == command) return o.get();
    return nullptr;
}

// A call over the bus from this process, as the library's wrappers make it.
uint32_t bus_call(const char* dest, uint32_t msgId, const void* req, uint32_t reqLen, void* reply, uint32_t replyLen) {
    ZX_MSG_HEAD_S head{};
    std::strncpy(head.acSrcProcName, "zxmontest", sizeof head.acSrcProcName - 1);
    std::strncpy(head.acDstProcName, dest, sizeof head.acDstProcName - 1);
    return ZX_MSG_RpcCall(&head, msgId, 0, req, reqLen, reply, replyLen, 5000);
}

class ZxmonTest : public testing::Test {
protected:
    void SetUp() override {
        zxtest::set_env("ZX_ROOT", root_.path().c_str());
        ASSERT_TRUE(sim_.start());
    }
    void TearDown() override { zxtest::set_env("ZX_ROOT", nullptr); }

    zxtest::ScopedBusDir bus_;
    zxtest::ScopedTempDir root_{"zxmonroot"};
    SimProcess sim_;
};

TEST_F(ZxmonTest, DecodesACallOfEveryServiceAsJson) {
    ASSERT_TRUE(sim_.set_state("app_m", "loid", "MONLOID42"));
    Zxmon mon({"--bus", bus_.path(), "--json"});
    ASSERT_TRUE(mon.start());
    const uint64_t sentBefore = zxhost::monitor::reports_sent();

    // app_m: the LOID, a text answer to a word.
    char loid[64] = {};
    ASSERT_EQ(ZX_JNI_sysGetLoid(loid, sizeof loid), 0u);
    // tarn: DNS forwarding of a domain list long enough to be stored compressed in its block.
    std::string domains;
    for (int i = 0; domains.size() < 4000; ++i) domains += (i ? "," : "") + std::string("host") + std::to_string(i) + ".example.com";
    ASSERT_EQ(ZX_TARN_AddDnsForward(domains.c_str(), static_cast<uint32_t>(domains.size()), "192.0.2.53"), 0u);
    // app_m: the one-way notice of a traffic-monitoring change, its payload in a block.
    const std::string watched = "198.51.100.7,198.51.100.8";
    ASSERT_EQ(ZX_TARN_TrafficMonitoringNotifyAppM(watched.c_str(), static_cast<uint32_t>(watched.size()), "demo.bundle",
                                                  11, 1),
              0u);
    // wifi: WPS on SSID 1.
    ASSERT_EQ(ZX_JNI_startWlanWps(1), 0u);
    // usb_mngt: the disc list, an array of nested records.
    auto discs = std::make_unique<ZX_USB_DISC_LIST_S>();
    uint32_t discCount = 0;
    ASSERT_EQ(ZX_JNI_getDiscInfo(discs.get(), &discCount), 0u);
    ASSERT_GE(discCount, 1u);
    // osgi_proxy: the number of deployment units.
    uint32_t duCount = 0;
    ASSERT_EQ(ZX_JNI_GetDuCount(&duCount), 0);
    // eventcenter: an event with record A.
    ZX_EVENT_RECORD_A_S ev{};
    std::strcpy(ev.acName, "mon.event");
    std::strcpy(ev.acData, "{\"k\":1}");
    ASSERT_EQ(EventCenter_GlobalInvokeEvent2(ZX_EVENT_INFORM, &ev, sizeof ev), 0u);
    // voice and cwmp: the library's records, sent over the platform's bus.
    ZX_VOICE_POTS_DND_GET_REQ_S dnd{1};
    ZX_VOICE_POTS_DND_GET_REPLY_S dndReply{};
    ASSERT_EQ(bus_call(ZX_VOICE_ENDPOINT, ZX_VOICE_RPC_GET_POTS_DND, &dnd, sizeof dnd, &dndReply, sizeof dndReply), 0u);
    uint32_t zero = 0;
    auto mgt = std::make_unique<ZX_CWMP_MGT_ADDR_S>();
    ASSERT_EQ(bus_call(ZX_CWMP_ENDPOINT, ZX_CWMP_RPC_GET_MGT_ADDRESS, &zero, sizeof zero, mgt.get(), sizeof *mgt), 0u);
    // zel: the library sends it nothing, so any id is unknown to the catalogue and to the service.
    const uint32_t zelStatus = bus_call(ZX_ZEL_ENDPOINT, 7, &zero, sizeof zero, nullptr, 0);
    EXPECT_NE(zelStatus, 0u);

    // One line per call, the notice and the event included (the DNS forwarding and the notice each
    // wrote a block, which is not a line of its own).
    ASSERT_TRUE(mon.wait_lines(10)) << mon.lines().size() << " lines: " << mon.err();
    EXPECT_GE(zxhost::monitor::reports_sent() - sentBefore, 10u);
    auto objs = mon.objects();

    json_object* l = line_of(objs, "ZX_APPM_RPC_GET_LOID");
    ASSERT_NE(l, nullptr);
    EXPECT_EQ(text(l, "dest"), "app_m");
    EXPECT_EQ(text(l, "id"), "0x4710304B");
    EXPECT_EQ(text(l, "kind"), "call");
    EXPECT_EQ(text(l, "statusName"), "ZX_OK");
    EXPECT_EQ(text(l, "reply"), "MONLOID42");
    EXPECT_EQ(json_object_get_int64(get(l, "request")), 0);
    EXPECT_EQ(json_object_get_int64(get(l, "pid")), getpid());
    EXPECT_GT(json_object_get_int64(get(l, "timeoutMs")), 0);
    EXPECT_NE(get(l, "durationUs"), nullptr);

    l = line_of(objs, "ZX_TARN_RPC_DNS_FORWARD_ADD");
    ASSERT_NE(l, nullptr);
    EXPECT_EQ(text(l, "dest"), "tarn");
    json_object* block = get(l, "request");
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(json_object_get_int64(get(block, "originalLen")), static_cast<int64_t>(domains.size() + 1 + 11));
    EXPECT_LT(json_object_get_int64(get(block, "storedLen")), json_object_get_int64(get(block, "originalLen")))
        << "the payload was meant to be stored compressed";
    json_object* payload = get(block, "payload");
    ASSERT_TRUE(payload && json_object_is_type(payload, json_type_array)) << json_object_get_string(block);
    ASSERT_EQ(json_object_array_length(payload), 2u);
    EXPECT_EQ(json_object_get_string(json_object_array_get_idx(payload, 0)), domains);
    EXPECT_STREQ(json_object_get_string(json_object_array_get_idx(payload, 1)), "192.0.2.53");

    l = line_of(objs, "ZX_APPM_NOTICE_TRAFFIC_MONITOR");
    ASSERT_NE(l, nullptr);
    EXPECT_EQ(text(l, "kind"), "notice");
    EXPECT_EQ(get(l, "durationUs"), nullptr) << "a one-way message has no reply";
    json_object* notice = get(get(l, "request"), "stVData");
    ASSERT_NE(notice, nullptr) << json_object_get_string(get(l, "request"));
    json_object* head = get(notice, "payload");
    ASSERT_NE(head, nullptr);
    EXPECT_EQ(json_object_get_int64(get(head, "ucAdd")), 1);
    EXPECT_EQ(text(head, "acBundleName"), "demo.bundle");
    EXPECT_EQ(text(head, "trailing"), watched);

    l = line_of(objs, "ZX_WIFI_RPC_START_WPS");
    ASSERT_NE(l, nullptr);
    EXPECT_EQ(json_object_get_int64(get(get(l, "request"), "iSsidIndex")), 1);

    l = line_of(objs, "ZX_USB_RPC_GET_DISC_INFO");
    ASSERT_NE(l, nullptr);
    EXPECT_EQ(text(l, "request"), "input");
    json_object* list = get(get(l, "reply"), "astDisc");
    ASSERT_TRUE(list && json_object_is_type(list, json_type_array));
    ASSERT_EQ(json_object_array_length(list), discCount);
    EXPECT_EQ(text(json_object_array_get_idx(list, 0), "acDiscName"), std::string(discs->astDisc[0].acDiscName));

    l = line_of(objs, "ZX_OSGI_RPC_GET_DU_COUNT");
    ASSERT_NE(l, nullptr);
    EXPECT_EQ(json_object_get_int64(get(get(l, "reply"), "uiCount")), duCount);

    l = line_of(objs, "ZX_EVENT_INFORM");
    ASSERT_NE(l, nullptr);
    EXPECT_EQ(text(l, "dest"), "eventcenter");
    EXPECT_EQ(text(l, "kind"), "event");
    EXPECT_EQ(text(get(l, "request"), "acName"), "mon.event");
    EXPECT_EQ(text(get(l, "request"), "acData"), "{\"k\":1}");

    l = line_of(objs, "ZX_VOICE_RPC_GET_POTS_DND");
    ASSERT_NE(l, nullptr);
    EXPECT_EQ(json_object_get_int64(get(get(l, "request"), "uiLine")), 1);
    EXPECT_EQ(json_object_get_int64(get(get(l, "reply"), "iState")), dndReply.iState);
    EXPECT_EQ(text(l, "caller"), "zxmontest");

    l = line_of(objs, "ZX_CWMP_RPC_GET_MGT_ADDRESS");
    ASSERT_NE(l, nullptr);
    EXPECT_EQ(text(get(l, "reply"), "acMgtAddr"), std::string(mgt->acMgtAddr));
    EXPECT_EQ(text(get(l, "reply"), "acMgtPort"), std::string(mgt->acMgtPort));

    // An id the catalogue does not know: no name, the raw request, the simulator's status.
    json_object* zel = nullptr;
    for (const JsonPtr& o : objs)
        if (text(o.get(), "dest") == "zel") zel = o.get();
    ASSERT_NE(zel, nullptr);
    EXPECT_EQ(get(zel, "command"), nullptr);
    EXPECT_EQ(text(zel, "id"), "0x00000007");
    EXPECT_EQ(text(zel, "request"), "hex:00000000");
    EXPECT_EQ(static_cast<uint32_t>(json_object_get_int64(get(zel, "status"))), zelStatus);
    EXPECT_EQ(zelStatus, ZX_SIM_ERR_UNKNOWN_MSG);
    EXPECT_EQ(text(zel, "statusName"), "ZX_SIM_ERR_UNKNOWN_MSG") << "the simulator's own status by name";
}

// The bundle-state query as the library makes it: the names in a compressed plug-in block, the
// states answered in another one that the bundle manager writes. Both payloads are shown decoded
// as their records, though each block is freed by its reader at once.
TEST_F(ZxmonTest, PluginBlocksOfBothDirectionsAreDecompressedAndDecoded) {
    Zxmon mon({"--bus", bus_.path(), "--json", "--service", "osgi_proxy"});
    ASSERT_TRUE(mon.start());
    auto query = std::make_unique<ZX_OSGI_QUERY_LIST_S>();
    std::memset(query.get(), 0, sizeof *query);
    query->uiFlag = 1;
    query->uiCount = 2;
    std::strcpy(query->aacBundleName[0], "com.zentrix.mediashare");
    std::strcpy(query->aacBundleName[1], "com.zentrix.parental");
    std::vector<uint8_t> packed(sizeof *query + 1024);
    uint32_t packedLen = static_cast<uint32_t>(packed.size());
    ASSERT_EQ(ZX_OS_Compress(query.get(), sizeof *query, packed.data(), &packedLen), 0u);
    PluginVDataRecord req{};
    ASSERT_EQ(ZX_VDATA_CreShm(packedLen, &req.uivDataID), 0u);
    ASSERT_EQ(ZX_VDATA_UpdateData(req.uivDataID, packedLen, packed.data()), 0u);
    req.uiStoredLen = packedLen;
    PluginVDataRecord reply{};
    ASSERT_EQ(bus_call(ZX_OSGI_ENDPOINT, ZX_OSGI_RPC_QUERY_STATE, &req, sizeof req, &reply, sizeof reply), 0u);
    EXPECT_EQ(ZX_VDATA_FreeShm(reply.uivDataID), 0u);  // the caller reads and frees the answer

    ASSERT_TRUE(mon.wait_lines(1)) << mon.err();
    auto objs = mon.objects();
    json_object* l = line_of(objs, "ZX_OSGI_RPC_QUERY_STATE");
    ASSERT_NE(l, nullptr);
    json_object* asked = get(get(l, "request"), "payload");
    ASSERT_NE(asked, nullptr) << json_object_get_string(get(l, "request"));
    EXPECT_EQ(json_object_get_int64(get(asked, "uiCount")), 2);
    json_object* names = get(asked, "aacBundleName");
    ASSERT_TRUE(names && json_object_is_type(names, json_type_array));
    ASSERT_EQ(json_object_array_length(names), 2u);
    EXPECT_STREQ(json_object_get_string(json_object_array_get_idx(names, 1)), "com.zentrix.parental");
    EXPECT_EQ(json_object_get_int64(get(get(l, "request"), "storedLen")), packedLen);

    json_object* answered = get(get(l, "reply"), "payload");
    ASSERT_NE(answered, nullptr) << json_object_get_string(get(l, "reply"));
    json_object* bundles = get(answered, "astBundle");
    ASSERT_TRUE(bundles && json_object_is_type(bundles, json_type_array)) << json_object_get_string(answered);
    ASSERT_GE(json_object_array_length(bundles), 2u);
    bool parental = false;
    for (size_t i = 0; i < json_object_array_length(bundles); ++i) {
        json_object* b = json_object_array_get_idx(bundles, i);
        if (text(b, "acBundleName") == "com.zentrix.parental") {
            parental = true;
            EXPECT_EQ(text(b, "acState"), "RESOLVED");
            EXPECT_EQ(text(b, "acVersion"), "1.0.0");
        }
    }
    EXPECT_TRUE(parental) << json_object_get_string(bundles);
}

TEST_F(ZxmonTest, ATimedOutCallShowsTheStatusByName) {
    zxtest::set_env("ZX_TIMEOUT_SCALE", "0.01");
    Zxmon mon({"--bus", bus_.path()});
    ASSERT_TRUE(mon.start());
    ASSERT_TRUE(sim_.inject("app_m", ZX_APPM_RPC_GET_LOID, zxtest::Fault::noreply(1)));
    char loid[64] = {};
    EXPECT_NE(ZX_JNI_sysGetLoid(loid, sizeof loid), 0u);
    ASSERT_TRUE(mon.wait_lines(1)) << mon.err();
    zxtest::set_env("ZX_TIMEOUT_SCALE", nullptr);
    const std::string line = mon.lines()[0];
    EXPECT_NE(line.find(" -> app_m ZX_APPM_RPC_GET_LOID(0x4710304B) 0 => ZX_MSG_ERR_TIMEOUT "), std::string::npos)
        << line;
    EXPECT_NE(line.find("[" + std::to_string(getpid()) + "]"), std::string::npos) << line;
}

TEST_F(ZxmonTest, FiltersByServiceAndCommandAndStopsAfterCount) {
    ASSERT_TRUE(sim_.set_state("app_m", "loid", "FILTERED"));
    Zxmon mon({"--bus", bus_.path(), "--service", "app_m", "--command", "get-loid", "--count", "2"});
    ASSERT_TRUE(mon.start());
    char buf[64] = {};
    ASSERT_EQ(ZX_JNI_startWlanWps(1), 0u);             // another service
    ASSERT_EQ(ZX_TARN_GetOntMac(buf, sizeof buf), 0u);  // another service
    ASSERT_EQ(ZX_JNI_GetDuCount(reinterpret_cast<uint32_t*>(buf)), 0);
    ZX_APPM_WLAN_STATE_REQ_S state{1, 1};
    char answer[256] = {};
    ASSERT_EQ(bus_call(ZX_APPM_ENDPOINT, ZX_APPM_RPC_WLAN_GET_STATE, &state.iSsidIndex, 4, answer, sizeof answer), 0u);
    ASSERT_EQ(ZX_JNI_sysGetLoid(buf, sizeof buf), 0u);
    ASSERT_EQ(ZX_JNI_sysGetLoid(buf, sizeof buf), 0u);
    EXPECT_EQ(mon.wait_exit(), 0) << "zxmon ends after --count lines";
    auto lines = mon.lines();
    ASSERT_EQ(lines.size(), 2u);
    for (const std::string& line : lines) {
        EXPECT_NE(line.find("app_m ZX_APPM_RPC_GET_LOID(0x4710304B) 0 => ZX_OK \"FILTERED\""), std::string::npos)
            << line;
    }
    // Gone with its socket file: the callers stop reporting.
    EXPECT_FALSE(has_monitor_file(bus_.path()));
}

TEST_F(ZxmonTest, CommandFilterTakesEveryCommandHoldingAPart) {
    Zxmon mon({"--bus", bus_.path(), "--command", "WPS", "--count", "2"});
    ASSERT_TRUE(mon.start());
    char buf[64] = {};
    ASSERT_EQ(ZX_JNI_sysGetLoid(buf, sizeof buf), 0u);
    ASSERT_EQ(ZX_JNI_startWlanWps(1), 0u);
    (void)ZX_JNI_wlanGetWPSState(1);
    EXPECT_EQ(mon.wait_exit(), 0);
    auto lines = mon.lines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_NE(lines[0].find("ZX_WIFI_RPC_START_WPS("), std::string::npos) << lines[0];
    EXPECT_NE(lines[1].find("ZX_WIFI_RPC_GET_WPS_STATE("), std::string::npos) << lines[1];
}

TEST_F(ZxmonTest, NothingIsSentWhileNobodyWatches) {
    // No monitor: calls leave no report and no file.
    std::this_thread::sleep_for(std::chrono::milliseconds(ZX_BUS_MONITOR_CHECK_MS + 50));
    const uint64_t sent = zxhost::monitor::reports_sent();
    char buf[64] = {};
    for (int i = 0; i < 5; ++i) ASSERT_EQ(ZX_JNI_sysGetLoid(buf, sizeof buf), 0u);
    EXPECT_EQ(zxhost::monitor::reports_sent(), sent);
    EXPECT_FALSE(has_monitor_file(bus_.path()));

    // Watched: the same calls are reported.
    {
        Zxmon mon({"--bus", bus_.path()});
        ASSERT_TRUE(mon.start());
        EXPECT_TRUE(has_monitor_file(bus_.path()));
        ASSERT_EQ(ZX_JNI_sysGetLoid(buf, sizeof buf), 0u);
        EXPECT_EQ(zxhost::monitor::reports_sent(), sent + 1);
        ASSERT_TRUE(mon.wait_lines(1));
    }
    // The monitor gone: after the next look nothing is sent again.
    EXPECT_FALSE(has_monitor_file(bus_.path()));
    std::this_thread::sleep_for(std::chrono::milliseconds(ZX_BUS_MONITOR_CHECK_MS + 50));
    const uint64_t after = zxhost::monitor::reports_sent();
    for (int i = 0; i < 5; ++i) ASSERT_EQ(ZX_JNI_sysGetLoid(buf, sizeof buf), 0u);
    EXPECT_EQ(zxhost::monitor::reports_sent(), after);
}

TEST_F(ZxmonTest, ASecondMonitorIsRefusedAndAStaleFileTakenOver) {
    {
        Zxmon first({"--bus", bus_.path()});
        ASSERT_TRUE(first.start());
        Zxmon second({"--bus", bus_.path()});
        EXPECT_FALSE(second.start());
        EXPECT_EQ(second.wait_exit(), 1);
        EXPECT_NE(second.err().find("another monitor watches"), std::string::npos) << second.err();
    }
    // A monitor killed outright leaves its socket file; the next one takes it over.
    {
        Zxmon killed({"--bus", bus_.path()});
        ASSERT_TRUE(killed.start());
        killed.kill_hard();
        EXPECT_TRUE(has_monitor_file(bus_.path()));
    }
    Zxmon next({"--bus", bus_.path()});
    ASSERT_TRUE(next.start());
    char buf[64] = {};
    ASSERT_EQ(ZX_JNI_sysGetLoid(buf, sizeof buf), 0u);
    EXPECT_TRUE(next.wait_lines(1));
}

#ifdef ZX_JAVA
// Whether a line the monitor printed so far holds `what`.
bool shows_line_with(const Zxmon& mon, const std::string& what) {
    for (const std::string& line : mon.lines())
        if (line.find(what) != std::string::npos) return true;
    return false;
}

// The demo through the Java classes, watched: the JVM's calls of every family, decoded.
TEST_F(ZxmonTest, TheDemoSeenByTheMonitor) {
    Zxmon mon({"--bus", bus_.path(), "--json"});
    ASSERT_TRUE(mon.start());
    const std::string bin = ZX_BINARY_DIR;
    const std::string cmd = std::string(ZX_JAVA) + " -Djava.library.path=" + bin + "/lib -cp " + bin +
                            "/java/zxdeviceservice.jar:" + bin + "/java/zxdemo.jar com.zentrix.nodalis.demo.BridgeDemo" +
                            " > /dev/null 2>&1";
    ASSERT_EQ(std::system(cmd.c_str()), 0) << cmd;
    // The demo's last call is the do-not-disturb state of line 1.
    for (int i = 0; i < 3000; ++i) {
        if (shows_line_with(mon, "ZX_VOICE_RPC_GET_POTS_DND")) break;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    auto objs = mon.objects();
    ASSERT_NE(line_of(objs, "ZX_VOICE_RPC_GET_POTS_DND"), nullptr) << mon.lines().size() << " lines";

    json_object* l = line_of(objs, "ZX_APPM_RPC_GET_LOID");
    ASSERT_NE(l, nullptr);
    EXPECT_EQ(text(l, "caller"), "jamvm");
    EXPECT_EQ(text(l, "statusName"), "ZX_OK");
    EXPECT_FALSE(text(l, "reply").empty());

    l = line_of(objs, "ZX_TARN_RPC_VPN_SETUP");
    ASSERT_NE(l, nullptr);
    EXPECT_EQ(text(get(l, "request"), "acLnsAddr"), "203.0.113.9");
    EXPECT_EQ(text(get(l, "request"), "acPppUser"), "alice");
    const std::string tunnel = text(l, "reply");
    EXPECT_FALSE(tunnel.empty());
    l = line_of(objs, "ZX_TARN_RPC_VPN_ADDR_ADD");
    ASSERT_NE(l, nullptr);
    json_object* texts = get(get(l, "request"), "payload");
    ASSERT_TRUE(texts && json_object_is_type(texts, json_type_array)) << json_object_get_string(get(l, "request"));
    EXPECT_STREQ(json_object_get_string(json_object_array_get_idx(texts, 0)), "198.51.100.7,198.51.100.8");
    EXPECT_EQ(json_object_get_string(json_object_array_get_idx(texts, json_object_array_length(texts) - 1)), tunnel);

    l = line_of(objs, "ZX_APPM_RPC_GET_FILES_SCAN_LIST");
    ASSERT_NE(l, nullptr);
    EXPECT_EQ(text(l, "request"), "video");
    EXPECT_EQ(text(get(get(l, "reply"), "payload"), "Type"), "video") << json_object_get_string(get(l, "reply"));

    l = line_of(objs, "ZX_WIFI_RPC_SET_CHANNEL_WIDTH");
    ASSERT_NE(l, nullptr);
    EXPECT_EQ(json_object_get_int64(get(get(l, "request"), "iChannelWidth")), 40);

    l = line_of(objs, "ZX_USB_RPC_CHANGE_DISC_NAME");
    ASSERT_NE(l, nullptr);
    EXPECT_EQ(text(get(l, "request"), "acDiscName"), "USB_DISK1");
    EXPECT_EQ(text(get(l, "request"), "acNewName"), "HOLIDAYS");

    l = line_of(objs, "ZX_OSGI_RPC_GET_DU_COUNT");
    ASSERT_NE(l, nullptr);
    EXPECT_NE(get(get(l, "reply"), "uiCount"), nullptr);

    l = line_of(objs, "ZX_VOICE_RPC_SET_POTS_DND");
    ASSERT_NE(l, nullptr);
    EXPECT_EQ(json_object_get_int64(get(get(l, "request"), "uiLine")), 1);
    EXPECT_EQ(json_object_get_int64(get(get(l, "request"), "uiState")), 1);

    l = line_of(objs, "ZX_EVENT_INFORM");
    ASSERT_NE(l, nullptr);
    EXPECT_EQ(text(get(l, "request"), "acName"), "demo.started");
    l = line_of(objs, "ZX_EVENT_NOTIFY_EXTENDED");
    ASSERT_NE(l, nullptr);
    EXPECT_EQ(text(get(l, "request"), "acData"), "HOLIDAYS");
}
#endif

TEST(ZxmonUsage, UnknownCommandIsAUsageError) {
    zxtest::ScopedBusDir bus;
    Zxmon mon({"--bus", bus.path(), "--command", "no-such-command"});
    EXPECT_FALSE(mon.start());
    EXPECT_EQ(mon.wait_exit(), 2);
    EXPECT_NE(mon.err().find("no command matches"), std::string::npos) << mon.err();
    EXPECT_FALSE(has_monitor_file(bus.path()));
}

}  // namespace
