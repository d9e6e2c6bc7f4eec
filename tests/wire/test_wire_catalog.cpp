// The catalogue table against the wire headers themselves: every id macro and every record typedef
// of wire/*.h is read from the files here, and each must be in the table once, with its value,
// its size and its fields in order. Lookups by name are checked as the tools use them.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "zx_wire.h"
#include "zx_wire_catalog.h"

namespace {

struct HeaderId {
    std::string name, value, comment, file;
};
struct HeaderRecord {
    std::string name;
    std::vector<std::string> fields;
};

std::string read_file(const std::filesystem::path& p) {
    std::ifstream in(p);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

std::vector<std::filesystem::path> headers() {
    std::vector<std::filesystem::path> out;
    for (const auto& e : std::filesystem::directory_iterator(std::string(ZX_SOURCE_DIR) + "/wire"))
        if (e.path().extension() == ".h" && e.path().filename().string().starts_with("zx_wire_") &&
            e.path().filename() != "zx_wire_catalog.h")
            out.push_back(e.path());
    std::sort(out.begin(), out.end());
    return out;
}

std::vector<HeaderId> header_ids() {
    std::vector<HeaderId> ids;
    const std::regex def(R"(#define (ZX_\w+_(?:RPC|NOTICE)_\w+|ZX_EVENT_\w+) +(\w+) *(?:/\* (.*?) \*/)?)");
    for (const auto& h : headers()) {
        std::string text = read_file(h);
        for (std::sregex_iterator it(text.begin(), text.end(), def), end; it != end; ++it)
            ids.push_back({(*it)[1], (*it)[2], (*it)[3], h.filename().string()});
    }
    return ids;
}

std::vector<HeaderRecord> header_records() {
    std::vector<HeaderRecord> out;
    const std::regex rec(R"(typedef struct \{([^}]*)\} (\w+);)");
    const std::regex field(R"(^\s*\w+\s+(\w+)(\[\w+\])*;)");
    for (const auto& h : headers()) {
        std::string text = read_file(h);
        for (std::sregex_iterator it(text.begin(), text.end(), rec), end; it != end; ++it) {
            HeaderRecord r{(*it)[2], {}};
            std::istringstream body((*it)[1].str());
            for (std::string line; std::getline(body, line);) {
                std::smatch m;
                if (std::regex_search(line, m, field)) r.fields.push_back(m[1]);
            }
            out.push_back(r);
        }
    }
    return out;
}

}  // namespace

TEST(WireCatalog, HeadersWereRead) {
    EXPECT_GE(header_ids().size(), 80u);
    EXPECT_GE(header_records().size(), 57u);
}

TEST(WireCatalog, EveryIdOfTheHeadersIsInTheTableOnceWithItsValue) {
    const auto ids = header_ids();
    ASSERT_FALSE(ids.empty());
    for (const HeaderId& h : ids) {
        int seen = 0;
        for (const zxwire::Command& c : zxwire::commands()) {
            if (h.name != c.name) continue;
            ++seen;
            EXPECT_EQ(std::stoul(h.value, nullptr, 0), c.id) << h.name;
            EXPECT_EQ(h.comment, c.summary) << h.name;
        }
        EXPECT_EQ(1, seen) << h.name << " of " << h.file;
    }
    EXPECT_EQ(ids.size(), zxwire::commands().size()) << "the table holds an id the headers do not define";
}

TEST(WireCatalog, CommandsSitAtTheEndpointOfTheirHeaderAndAreDistinctThere) {
    const std::map<std::string, std::string> endpoint = {
        {"zx_wire_tarn.h", ZX_TARN_ENDPOINT},      {"zx_wire_app_m.h", ZX_APPM_ENDPOINT},
        {"zx_wire_cwmp.h", ZX_CWMP_ENDPOINT},      {"zx_wire_wifi.h", ZX_WIFI_ENDPOINT},
        {"zx_wire_voice.h", ZX_VOICE_ENDPOINT},    {"zx_wire_usb_mngt.h", ZX_USB_ENDPOINT},
        {"zx_wire_osgi_proxy.h", ZX_OSGI_ENDPOINT}, {"zx_wire_eventcenter.h", "eventcenter"}};
    for (const HeaderId& h : header_ids()) {
        auto m = zxwire::match("", h.name);
        ASSERT_EQ(1u, m.size()) << h.name;
        ASSERT_TRUE(endpoint.count(h.file)) << h.file;
        EXPECT_STREQ(endpoint.at(h.file).c_str(), m[0]->service) << h.name;
        EXPECT_EQ(m[0], zxwire::find(m[0]->service, m[0]->id)) << h.name << ": another command has its id";
    }
}

TEST(WireCatalog, KindsAndBodiesAgreeWithTheirRecords) {
    for (const zxwire::Command& c : zxwire::commands()) {
        const std::string name = c.name;
        EXPECT_EQ(c.kind == zxwire::Kind::Notice, name.find("_NOTICE_") != std::string::npos) << name;
        EXPECT_EQ(c.kind == zxwire::Kind::Event, name.starts_with("ZX_EVENT_")) << name;
        EXPECT_EQ(c.request == zxwire::Body::Record, c.requestRecord != nullptr) << name;
        EXPECT_EQ(c.reply == zxwire::Body::Record, c.replyRecord != nullptr) << name;
        if (c.kind != zxwire::Kind::Call) {
            EXPECT_EQ(zxwire::Body::None, c.reply) << name;
        }
        // A block record belongs to a command whose record names a block.
        auto names_block = [](const zxwire::Record* r) {
            if (!r) return false;
            if (std::string_view(r->name) == "TunnelVDataRecord" || std::string_view(r->name) == "PluginVDataRecord")
                return true;
            return std::any_of(r->fields.begin(), r->fields.end(), [](const zxwire::Field& f) {
                return f.type == zxwire::FieldType::TunnelBlock || f.type == zxwire::FieldType::PluginBlock;
            });
        };
        if (c.requestBlockRecord) {
            EXPECT_TRUE(names_block(c.requestRecord)) << name;
        }
        if (c.replyBlockRecord) {
            EXPECT_TRUE(names_block(c.replyRecord)) << name;
        }
    }
    const zxwire::Command* loid = zxwire::find(ZX_APPM_ENDPOINT, ZX_APPM_RPC_GET_LOID);
    ASSERT_NE(nullptr, loid);
    EXPECT_EQ(zxwire::Body::Word, loid->request);
    EXPECT_EQ(zxwire::Body::Text, loid->reply);
    const zxwire::Command* query = zxwire::find(ZX_OSGI_ENDPOINT, ZX_OSGI_RPC_QUERY_STATE);
    ASSERT_NE(nullptr, query);
    EXPECT_EQ(zxwire::record("ZX_OSGI_QUERY_LIST_S"), query->requestBlockRecord);
    EXPECT_EQ(zxwire::record("ZX_OSGI_STATE_LIST_S"), query->replyBlockRecord);
    const zxwire::Command* notice = zxwire::find(ZX_APPM_ENDPOINT, ZX_APPM_NOTICE_TRAFFIC_MONITOR);
    ASSERT_NE(nullptr, notice);
    EXPECT_EQ(zxwire::Kind::Notice, notice->kind);
}

TEST(WireCatalog, EveryRecordOfTheHeadersIsInTheTableWithItsFieldsInOrder) {
    const auto recs = header_records();
    ASSERT_FALSE(recs.empty());
    EXPECT_EQ(recs.size(), zxwire::records().size());
    for (const HeaderRecord& h : recs) {
        const zxwire::Record* r = zxwire::record(h.name);
        ASSERT_NE(nullptr, r) << h.name;
        ASSERT_EQ(h.fields.size(), r->fields.size()) << h.name;
        uint32_t end = 0;
        for (size_t i = 0; i < h.fields.size(); ++i) {
            const zxwire::Field& f = r->fields[i];
            EXPECT_EQ(h.fields[i], f.name) << h.name;
            // Packed: each field starts where the one before ends, and the last ends at the size.
            EXPECT_EQ(end, f.offset) << h.name << "." << f.name;
            end = f.offset + f.size;
            EXPECT_GE(f.count, 1u);
            EXPECT_EQ(0u, f.size % f.count) << h.name << "." << f.name;
            if (f.type == zxwire::FieldType::Nested) {
                ASSERT_NE(nullptr, f.nested) << h.name << "." << f.name;
                EXPECT_EQ(f.nested->size * f.count, f.size) << h.name << "." << f.name;
            } else {
                EXPECT_EQ(nullptr, f.nested);
            }
        }
        EXPECT_EQ(r->size, end) << h.name;
    }
}

TEST(WireCatalog, RecordSizesAndFieldsComeFromTheHeaders) {
    EXPECT_EQ(sizeof(ZX_USB_DISC_LIST_S), zxwire::record("ZX_USB_DISC_LIST_S")->size);
    EXPECT_EQ(sizeof(ZX_OSGI_STATE_LIST_S), zxwire::record("ZX_OSGI_STATE_LIST_S")->size);
    EXPECT_EQ(sizeof(TunnelVDataRecord), zxwire::record("TunnelVDataRecord")->size);
    const zxwire::Record* mgt = zxwire::record("ZX_APPM_MGT_ADDR_S");
    ASSERT_NE(nullptr, mgt);
    EXPECT_EQ(offsetof(ZX_APPM_MGT_ADDR_S, uiMgtPort), mgt->fields[2].offset);
    EXPECT_EQ(zxwire::FieldType::U32, mgt->fields[2].type);
    EXPECT_EQ(zxwire::FieldType::Text, mgt->fields[1].type);
    EXPECT_EQ(zxwire::FieldType::Bytes, mgt->fields[0].type);
    const zxwire::Record* wifi = zxwire::record("ZX_WIFI_HOST_INFO_REQ_S");
    ASSERT_NE(nullptr, wifi);
    EXPECT_EQ(zxwire::FieldType::Text, wifi->fields[0].type);
    EXPECT_EQ(ZX_WIFI_MAX_HOST_MACS, wifi->fields[0].count);
    EXPECT_EQ(zxwire::FieldType::Mac, zxwire::record("ZX_TARN_HOST_STATS_REQ_S")->fields[0].type);
    EXPECT_EQ(zxwire::FieldType::TunnelBlock, zxwire::record("ZX_TARN_TRAFFIC_REQ_S")->fields[0].type);
    const zxwire::Record* discs = zxwire::record("ZX_USB_DISC_LIST_S");
    EXPECT_EQ(zxwire::record("ZX_USB_DISC_S"), discs->fields[1].nested);
    EXPECT_EQ(ZX_USB_MAX_DISCS, discs->fields[1].count);
    EXPECT_EQ(nullptr, zxwire::record("ZX_NO_SUCH_S"));
}

TEST(WireCatalog, FindByServiceAndId) {
    const zxwire::Command* c = zxwire::find("tarn", ZX_TARN_RPC_VPN_SETUP);
    ASSERT_NE(nullptr, c);
    EXPECT_STREQ("ZX_TARN_RPC_VPN_SETUP", c->name);
    EXPECT_EQ(nullptr, zxwire::find("app_m", ZX_TARN_RPC_VPN_SETUP));
    EXPECT_EQ(nullptr, zxwire::find("tarn", 0u));
    // An id is looked up at its own endpoint only: usb_mngt's register id at app_m is unknown.
    ASSERT_NE(nullptr, zxwire::find("usb_mngt", ZX_USB_RPC_REGISTER));
    EXPECT_EQ(nullptr, zxwire::find("app_m", ZX_USB_RPC_REGISTER));
    EXPECT_EQ(nullptr, zxwire::find("", ZX_USB_RPC_REGISTER));
}

TEST(WireCatalog, MatchByNameInEveryForm) {
    for (const char* text : {"ZX_APPM_RPC_GET_LOID", "zx_appm_rpc_get_loid", "GET_LOID", "get-loid", "Get_Loid", "loid"}) {
        auto m = zxwire::match("app_m", text);
        ASSERT_EQ(1u, m.size()) << text;
        EXPECT_STREQ("ZX_APPM_RPC_GET_LOID", m[0]->name) << text;
    }
    auto notice = zxwire::match("app_m", "traffic-monitor");
    ASSERT_EQ(1u, notice.size());
    EXPECT_EQ(ZX_APPM_NOTICE_TRAFFIC_MONITOR, notice[0]->id);
    auto ev = zxwire::match("", "notify");
    ASSERT_EQ(1u, ev.size()) << "the exact short name wins over the names holding it";
    EXPECT_STREQ("ZX_EVENT_NOTIFY", ev[0]->name);
}

TEST(WireCatalog, MatchExactNameWinsOverSubstring) {
    // GET_MGT_ADDRESS is a short name at app_m and cwmp: both, and nothing that merely holds it.
    auto both = zxwire::match("", "get_mgt_address");
    ASSERT_EQ(2u, both.size());
    std::set<std::string> services{both[0]->service, both[1]->service};
    EXPECT_EQ((std::set<std::string>{"app_m", "cwmp"}), services);
    auto one = zxwire::match("cwmp", "get_mgt_address");
    ASSERT_EQ(1u, one.size());
    EXPECT_STREQ("cwmp", one[0]->service);
}

TEST(WireCatalog, MatchAmbiguousReturnsEveryCandidate) {
    auto m = zxwire::match("tarn", "dns_forward");
    ASSERT_EQ(3u, m.size());
    for (const auto* c : m) EXPECT_NE(std::string(c->name).find("DNS_FORWARD"), std::string::npos);
    EXPECT_TRUE(zxwire::match("tarn", "no-such-command").empty());
    EXPECT_TRUE(zxwire::match("", "").empty());
    EXPECT_TRUE(zxwire::match("nosuchservice", "loid").empty());
}

TEST(WireCatalog, ShortNames) {
    EXPECT_EQ("GET_LOID", zxwire::short_name(*zxwire::find("app_m", ZX_APPM_RPC_GET_LOID)));
    EXPECT_EQ("TRAFFIC_MONITOR", zxwire::short_name(*zxwire::find("app_m", ZX_APPM_NOTICE_TRAFFIC_MONITOR)));
    EXPECT_EQ("INFORM", zxwire::short_name(*zxwire::find("eventcenter", ZX_EVENT_INFORM)));
    EXPECT_EQ("GET_WLANHOSTINFO", zxwire::short_name(*zxwire::find("wifi", ZX_WIFI_JNI_RPC_GET_WLANHOSTINFO)));
}
