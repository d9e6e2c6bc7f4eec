// The wire catalogue: every record has the size the services expect and the same size in C and
// C++; every command id has its value, the same in C and C++, and no service has one id twice.
#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <set>
#include <string>

#include "zx_wire.h"

#include "wire_catalogue.h"

namespace {

#define ZX_TEST_RECORD_ROW(type, size) {#type, sizeof(type), size},
const ZxTestWireRecord kRecordsCxx[] = {ZX_TEST_WIRE_RECORDS(ZX_TEST_RECORD_ROW)};

#define ZX_TEST_ID_ROW(service, id, value) {service, #id, id, value},
const ZxTestWireId kIdsCxx[] = {ZX_TEST_WIRE_IDS(ZX_TEST_ID_ROW)};

TEST(WireCatalogue, EveryRecordHasItsSizeInCxx) {
    for (const ZxTestWireRecord& r : kRecordsCxx) EXPECT_EQ(r.sizeInC, r.expected) << r.name;
}

TEST(WireCatalogue, EveryRecordHasItsSizeInC) {
    ASSERT_EQ(zx_test_wire_record_count_c, std::size(kRecordsCxx));
    for (size_t i = 0; i < zx_test_wire_record_count_c; ++i) {
        const ZxTestWireRecord& c = zx_test_wire_records_c[i];
        EXPECT_STREQ(c.name, kRecordsCxx[i].name);
        EXPECT_EQ(c.sizeInC, c.expected) << c.name;
        EXPECT_EQ(c.sizeInC, kRecordsCxx[i].sizeInC) << c.name;
    }
}

TEST(WireCatalogue, ShapesOfTheBiggestAndOddestRecords) {
    EXPECT_EQ(sizeof(ZX_OSGI_STATE_LIST_S), 43216u);
    EXPECT_EQ(sizeof(ZX_OSGI_QUERY_LIST_S), 32936u);
    EXPECT_EQ(sizeof(ZX_APPM_MGT_ADDR_S), 2343u);
    EXPECT_EQ(sizeof(ZX_APPM_WLAN_SECURITY_S), 133u);
    EXPECT_EQ(sizeof(ZX_USB_DISC_LIST_S), 7172u);
    EXPECT_EQ(sizeof(ZX_TARN_VPN_REQ_S), 450u);
    // Offsets that only packing gives, seen from C.
    EXPECT_EQ(zx_test_wire_offsets_c[0], 562u);  // management port, unaligned
    EXPECT_EQ(zx_test_wire_offsets_c[1], 448u);  // tunnel port
    EXPECT_EQ(zx_test_wire_offsets_c[2], 208u);  // first bundle of a state list
    EXPECT_EQ(zx_test_wire_offsets_c[3], 68u);   // data of event record A
}

TEST(WireCatalogue, PackedFieldsLandOnTheirBytes) {
    ZX_APPM_MGT_ADDR_S reply{};
    reply.uiMgtPort = 0x11223344u;
    const auto* bytes = reinterpret_cast<const uint8_t*>(&reply);
    EXPECT_EQ(bytes[562], 0x44);
    EXPECT_EQ(bytes[565], 0x11);
    ZX_TARN_VPN_REQ_S vpn{};
    vpn.usPort = 1701;
    EXPECT_EQ(reinterpret_cast<const uint8_t*>(&vpn)[448], 1701 & 0xFF);
    EXPECT_EQ(reinterpret_cast<const uint8_t*>(&vpn)[449], 1701 >> 8);
}

TEST(WireCatalogue, EveryIdHasItsValueInCAndCxx) {
    ASSERT_EQ(zx_test_wire_id_count_c, std::size(kIdsCxx));
    for (size_t i = 0; i < std::size(kIdsCxx); ++i) {
        EXPECT_EQ(kIdsCxx[i].valueInC, kIdsCxx[i].expected) << kIdsCxx[i].name;
        EXPECT_EQ(zx_test_wire_ids_c[i].valueInC, zx_test_wire_ids_c[i].expected) << zx_test_wire_ids_c[i].name;
    }
}

TEST(WireCatalogue, NoServiceHasAnIdTwice) {
    std::map<std::string, std::set<uint32_t>> seen;
    for (const ZxTestWireId& id : kIdsCxx)
        EXPECT_TRUE(seen[id.service].insert(id.valueInC).second) << id.service << " " << id.name;
}

TEST(WireCatalogue, Endpoints) {
    EXPECT_STREQ(ZX_TARN_ENDPOINT, "tarn");
    EXPECT_STREQ(ZX_APPM_ENDPOINT, "app_m");
    EXPECT_STREQ(ZX_CWMP_ENDPOINT, "cwmp");
    EXPECT_STREQ(ZX_WIFI_ENDPOINT, "wifi");
    EXPECT_STREQ(ZX_ZEL_ENDPOINT, "zel");
    EXPECT_STREQ(ZX_VOICE_ENDPOINT, "voice");
    EXPECT_STREQ(ZX_USB_ENDPOINT, "usb_mngt");
    EXPECT_STREQ(ZX_OSGI_ENDPOINT, "osgi_proxy");
    EXPECT_EQ(std::strlen(ZX_USB_DISC_INFO_REQUEST), 5u);
}

}  // namespace
