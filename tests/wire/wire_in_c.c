/* The wire catalogue compiled as C: every header, and what C makes of its records and ids. */
#include "zx_wire.h"

#include "wire_catalogue.h"

#define ZX_TEST_RECORD_ROW(type, size) {#type, sizeof(type), size},
const ZxTestWireRecord zx_test_wire_records_c[] = {ZX_TEST_WIRE_RECORDS(ZX_TEST_RECORD_ROW)};
const size_t zx_test_wire_record_count_c = sizeof zx_test_wire_records_c / sizeof zx_test_wire_records_c[0];

#define ZX_TEST_ID_ROW(service, id, value) {service, #id, id, value},
const ZxTestWireId zx_test_wire_ids_c[] = {ZX_TEST_WIRE_IDS(ZX_TEST_ID_ROW)};
const size_t zx_test_wire_id_count_c = sizeof zx_test_wire_ids_c / sizeof zx_test_wire_ids_c[0];

const size_t zx_test_wire_offsets_c[4] = {
    offsetof(ZX_APPM_MGT_ADDR_S, uiMgtPort),
    offsetof(ZX_TARN_VPN_REQ_S, usPort),
    offsetof(ZX_OSGI_STATE_LIST_S, astBundle),
    offsetof(ZX_EVENT_RECORD_A_S, acData),
};
