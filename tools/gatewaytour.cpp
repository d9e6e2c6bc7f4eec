// gatewaytour: calls every service of the simulated gateway through the platform library and
// prints what comes back. Run it while gatewaysim serves the same bus directory.
//
//   gatewaytour          the tour, on the bus of ZX_BUS_DIR
//   gatewaytour --help   the usage on standard output; touches no bus
//
// Any other argument is a usage error: the usage on standard error, exit status 2.
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "zx_host.h"
#include "zx_wire.h"

namespace {

constexpr uint32_t kSimUnknownMsg = 0xF7F0F001;  // the simulator's answer to an unknown message id

ZX_MSG_HEAD_S header_to(const char* dest) {
    ZX_MSG_HEAD_S h;
    std::memset(&h, 0, sizeof h);
    ZX_OS_StrNCpy_S(h.acSrcProcName, sizeof h.acSrcProcName, ZX_MSG_GetCurProcName(), 31);
    ZX_OS_StrNCpy_S(h.acDstProcName, sizeof h.acDstProcName, dest, 31);
    return h;
}

void show(const char* what, uint32_t status, const std::string& answer = "") {
    std::printf("  %-44s %-24s %s\n", what, zxhost::status_name(status).c_str(), answer.c_str());
}

void usage(FILE* out) {
    std::fputs(
        "usage: gatewaytour [--help]\n"
        "Calls every service of the simulated gateway through the platform library and prints\n"
        "what comes back: the services, app_m's LOID, an event, the platform's values, a shared\n"
        "data block with compression. Run it while gatewaysim serves the bus of ZX_BUS_DIR.\n"
        "  -h, --help  print this help and exit\n",
        out);
}

}  // namespace

int main(int argc, char** argv) {
    // Decided before anything touches the bus: asking for help must leave no trace on it.
    if (argc == 2 && (std::strcmp(argv[1], "--help") == 0 || std::strcmp(argv[1], "-h") == 0)) {
        usage(stdout);
        return 0;
    }
    if (argc > 1) {
        usage(stderr);
        return 2;
    }
    std::printf("gateway tour on bus %s\n\n", zxhost::bus_dir().c_str());

    std::printf("services (a call of message id 0 to each; the simulator answers unknown commands):\n");
    for (const char* svc : {ZX_TARN_ENDPOINT, ZX_APPM_ENDPOINT, ZX_CWMP_ENDPOINT, ZX_WIFI_ENDPOINT, ZX_ZEL_ENDPOINT,
                            ZX_VOICE_ENDPOINT, ZX_USB_ENDPOINT, ZX_OSGI_ENDPOINT}) {
        uint32_t alive = 0;
        ZX_OS_IsProcExist_Ex(svc, &alive);
        ZX_MSG_HEAD_S h = header_to(svc);
        uint32_t word = 0, reply = 0;
        uint32_t st = ZX_MSG_RpcCall(&h, 0, 0, &word, sizeof word, &reply, sizeof reply, 5000);
        show((std::string(svc) + (alive ? " (alive)" : " (not running)")).c_str(), st,
             st == kSimUnknownMsg ? "answered: unknown message id" : "");
    }

    std::printf("\napp_m:\n");
    {
        ZX_MSG_HEAD_S h = header_to(ZX_APPM_ENDPOINT);
        uint32_t word = 0;
        char loid[64] = {};
        uint32_t st = ZX_MSG_RpcCall(&h, ZX_APPM_RPC_GET_LOID, 0, &word, sizeof word, loid, sizeof loid - 1, 30000);
        char what[32];
        std::snprintf(what, sizeof what, "LOID (0x%08X)", ZX_APPM_RPC_GET_LOID);
        show(what, st, st == 0 ? std::string("\"") + loid + "\"" : "");
    }

    std::printf("\nevent centre:\n");
    {
        ZX_EVENT_RECORD_A_S record;
        std::memset(&record, 0, sizeof record);
        std::memcpy(record.acName, "tour", 4);
        char what[64];
        std::snprintf(what, sizeof what, "event %u with a %zu-byte record", ZX_EVENT_INFORM, sizeof record);
        show(what, EventCenter_GlobalInvokeEvent2(ZX_EVENT_INFORM, &record, sizeof record));
    }

    std::printf("\nplatform:\n");
    {
        uint32_t pct = 0;
        uint32_t st = ZX_OS_GetCPUBusyRateByTime(10, &pct);
        show("processor load", st, std::to_string(pct) + " %");
        st = ZX_OS_GetMemUseRate(&pct);
        show("memory in use", st, std::to_string(pct) + " %");
        uint32_t ip = 0;
        st = ZX_OS_GetIfIpAndMac("br0", &ip, nullptr);
        const auto* b = reinterpret_cast<const uint8_t*>(&ip);
        show("br0 address", st,
             std::to_string(b[0]) + "." + std::to_string(b[1]) + "." + std::to_string(b[2]) + "." +
                 std::to_string(b[3]));
        for (const char* ft : {"FT_CWMP_OPCO_RMS", "FT_PLUGIN_PERMISSION_ENABLE", "FT_PLUGIN_PERMISSION_CONTROL_ONLY"})
            show(ft, 0, ZX_Feature_IsSupportByFeatureName(ft) ? "on" : "off");
        char value[64];
        st = ZX_Spec_GetValueByName("VELM_SPEC_PLUGIN_APILIST", value, sizeof value);
        show("VELM_SPEC_PLUGIN_APILIST", st, st == 0 ? value : "");
    }

    std::printf("\nshared data block with compression:\n");
    {
        std::string list;
        for (int i = 1; list.size() < 43000; ++i)
            list += "10.0." + std::to_string(i / 256) + "." + std::to_string(i % 256) + ",";
        std::vector<uint8_t> packed(list.size());
        uint32_t packedLen = static_cast<uint32_t>(packed.size());
        uint32_t st = ZX_OS_Compress(list.data(), static_cast<uint32_t>(list.size()), packed.data(), &packedLen);
        show("compress an address list", st,
             std::to_string(list.size()) + " -> " + std::to_string(packedLen) + " bytes");
        uint32_t id = 0;
        st = ZX_VDATA_CreShm(packedLen, &id);
        if (st == 0) st = ZX_VDATA_UpdateData(id, packedLen, packed.data());
        show("block written", st, "id " + std::to_string(id));
        std::vector<uint8_t> back(packedLen);
        std::vector<char> plain(list.size());
        if (st == 0) st = ZX_VDATA_ReadData(id, packedLen, back.data());
        if (st == 0) st = ZX_VDATA_FreeShm(id);
        if (st == 0) st = ZX_OS_Decompress(back.data(), plain.data(), static_cast<uint32_t>(plain.size()));
        bool same = st == 0 && std::memcmp(plain.data(), list.data(), list.size()) == 0;
        show("read, freed and decompressed", st, same ? "identical" : "DIFFERENT");
        show("blocks left in the arena", 0, std::to_string(zxhost::vdata_list().size()));
    }
    return 0;
}
