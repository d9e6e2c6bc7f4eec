/* Every record and command id of the wire catalogue with the size and value the services expect,
 * written here independently of wire/ so that the catalogue is checked against them. Used from C
 * (wire_in_c.c) and C++ (test_wire.cpp). */
#ifndef ZX_TEST_WIRE_CATALOGUE_H
#define ZX_TEST_WIRE_CATALOGUE_H

#include <stddef.h>
#include <stdint.h>

#define ZX_TEST_WIRE_RECORDS(X)              \
    X(ZX_WIRE_RESULT_REASON_S, 68)           \
    X(TunnelVDataRecord, 12)                 \
    X(PluginVDataRecord, 8)                  \
    X(ZX_TARN_VPN_REQ_S, 450)                \
    X(ZX_TARN_TRAFFIC_REQ_S, 268)            \
    X(ZX_TARN_PPPOE_USER_S, 192)             \
    X(ZX_TARN_DNS_REQ_S, 260)                \
    X(ZX_TARN_DNS_REPLY_S, 260)              \
    X(ZX_TARN_HOST_NUM_REPLY_S, 2052)        \
    X(ZX_TARN_HOST_STATS_REQ_S, 6)           \
    X(ZX_TARN_HOST_STATS_REPLY_S, 16)        \
    X(ZX_TARN_ALWAYS_FORWARD_S, 260)         \
    X(ZX_TARN_DEFAULT_FORWARD_S, 8)          \
    X(ZX_APPM_TRAFFIC_NOTICE_S, 16)          \
    X(ZX_APPM_TRAFFIC_NOTICE_HEAD_S, 129)    \
    X(ZX_APPM_PPPOE_WAN_S, 256)              \
    X(ZX_APPM_MGT_ADDR_S, 2343)              \
    X(ZX_APPM_DEV_ACCESS_REQ_S, 48)          \
    X(ZX_APPM_DEV_MAX_BANDWIDTH_S, 40)       \
    X(ZX_APPM_NAT_INFO_S, 56)                \
    X(ZX_APPM_WLAN_STATE_REQ_S, 8)           \
    X(ZX_APPM_WLAN_HIDE_S, 8)                \
    X(ZX_APPM_WLAN_SECURITY_S, 133)          \
    X(ZX_APPM_LED_STATE_REQ_S, 16)           \
    X(ZX_APPM_PLATFORM_STATE_S, 132)         \
    X(ZX_APPM_MEDIA_FILES_INFO_S, 24)        \
    X(ZX_CWMP_MGT_ADDR_S, 514)               \
    X(ZX_WIFI_WPS_START_REQ_S, 4)            \
    X(ZX_WIFI_WPS_STATE_S, 18)               \
    X(ZX_WIFI_AUTO_CHANNEL_REQ_S, 8)         \
    X(ZX_WIFI_CHANNEL_WIDTH_REQ_S, 8)        \
    X(ZX_WIFI_FORBID_CHANNEL_REQ_S, 40)      \
    X(ZX_WIFI_HOST_INFO_REQ_S, 164)          \
    X(ZX_VOICE_POTS_DND_SET_REQ_S, 8)        \
    X(ZX_VOICE_POTS_DND_GET_REQ_S, 4)        \
    X(ZX_VOICE_POTS_DND_GET_REPLY_S, 4)      \
    X(ZX_USB_PLUGIN_REQ_S, 132)              \
    X(ZX_USB_OPEN_REPLY_S, 100)              \
    X(ZX_USB_DISC_S, 224)                    \
    X(ZX_USB_DISC_LIST_S, 7172)              \
    X(ZX_USB_DISC_RENAME_REQ_S, 128)         \
    X(ZX_USB_DISC_RENAME_BY_PATH_REQ_S, 128) \
    X(ZX_USB_DISC_RENAME_REPLY_S, 8)         \
    X(ZX_USB_MNT_PATH_REQ_S, 64)             \
    X(ZX_USB_MNT_PATH_REPLY_S, 128)          \
    X(ZX_OSGI_OPERATE_REQ_S, 168)            \
    X(ZX_OSGI_INSTALL_REQ_S, 620)            \
    X(ZX_OSGI_CANCEL_REQ_S, 152)             \
    X(ZX_OSGI_PROCESS_REQ_S, 300)            \
    X(ZX_OSGI_PROCESS_REPLY_S, 224)          \
    X(ZX_OSGI_QUERY_LIST_S, 32936)           \
    X(ZX_OSGI_BUNDLE_INFO_S, 168)            \
    X(ZX_OSGI_STATE_LIST_S, 43216)           \
    X(ZX_OSGI_DU_COUNT_REPLY_S, 1020)        \
    X(ZX_OSGI_PERMISSIONS_REQ_S, 4)          \
    X(ZX_EVENT_RECORD_A_S, 932)              \
    X(ZX_EVENT_RECORD_B_S, 992)

/* (service, id, value) */
#define ZX_TEST_WIRE_IDS(X)                                                   \
    X("tarn", ZX_TARN_RPC_DNS_FORWARD_ADD, 0x48304170u)                       \
    X("tarn", ZX_TARN_RPC_DNS_FORWARD_DEL, 0x48304171u)                       \
    X("tarn", ZX_TARN_RPC_DNS_FORWARD_STATISTIC, 0x48304172u)                 \
    X("tarn", ZX_TARN_RPC_TRAFFIC_MONITOR_ADD, 0x48304173u)                   \
    X("tarn", ZX_TARN_RPC_TRAFFIC_MONITOR_DEL, 0x48304174u)                   \
    X("tarn", ZX_TARN_RPC_VPN_SETUP, 0x48304180u)                             \
    X("tarn", ZX_TARN_RPC_VPN_TEARDOWN, 0x48304181u)                          \
    X("tarn", ZX_TARN_RPC_VPN_ADDR_ADD, 0x48304182u)                          \
    X("tarn", ZX_TARN_RPC_VPN_ADDR_DEL, 0x48304183u)                          \
    X("tarn", ZX_TARN_RPC_GET_WAN_IP, 0x48304184u)                            \
    X("tarn", ZX_TARN_RPC_GET_ONT_MAC, 0x48304185u)                           \
    X("tarn", ZX_TARN_RPC_GET_PPPOE_USER, 0x48304186u)                        \
    X("tarn", ZX_TARN_RPC_GET_TUNNEL_STATUS, 0x48304187u)                     \
    X("tarn", ZX_TARN_RPC_RESOLVE_DOMAIN, 0x4730B000u)                        \
    X("tarn", ZX_TARN_RPC_GET_HOST_NUM, 0x47302005u)                          \
    X("tarn", ZX_TARN_RPC_GET_LAN_HOST_STATS, 0x47302D15u)                    \
    X("tarn", ZX_TARN_RPC_HTTP_FORWARD_INIT, 0x4730705Fu)                     \
    X("tarn", ZX_TARN_RPC_HTTP_FORWARD_STOP, 0x47307060u)                     \
    X("tarn", ZX_TARN_RPC_HTTP_FORWARD_ADD_AUTH, 0x47307061u)                 \
    X("tarn", ZX_TARN_RPC_HTTP_FORWARD_SET_ALWAYS_FORWARD_RULE, 0x47307062u)  \
    X("tarn", ZX_TARN_RPC_HTTP_FORWARD_SET_DEFAULT_FORWARD_RULE, 0x47307063u) \
    X("tarn", ZX_TARN_RPC_HTTP_FORWARD_ADD_WHITENAME_LIST, 0x47307064u)       \
    X("app_m", ZX_APPM_NOTICE_TRAFFIC_MONITOR, 39u)                           \
    X("app_m", ZX_APPM_RPC_GET_MGT_ADDRESS, 0x47102041u)                      \
    X("app_m", ZX_APPM_RPC_GET_LOID, 0x4710304Bu)                             \
    X("app_m", ZX_APPM_RPC_GET_WLAN_CHANNEL, 0x47103053u)                     \
    X("app_m", ZX_APPM_RPC_GET_PPPOE_WAN, 0x47103054u)                        \
    X("app_m", ZX_APPM_RPC_GET_PHY_INFO, 0x4710307Du)                         \
    X("app_m", ZX_APPM_RPC_LAN_GET_NET_INFO, 0x47103046u)                     \
    X("app_m", ZX_APPM_RPC_LAN_SET_DEV_ACCESS_PERMISSION, 0x47103047u)        \
    X("app_m", ZX_APPM_RPC_LAN_GET_INTERNET_BLACKLIST, 0x47103048u)           \
    X("app_m", ZX_APPM_RPC_LAN_GET_STORAGE_BLACKLIST, 0x47103049u)            \
    X("app_m", ZX_APPM_RPC_LAN_SET_DEV_STATS_STATUS, 0x4710304Du)             \
    X("app_m", ZX_APPM_RPC_LAN_GET_PORT_STATUS, 0x4710304Fu)                  \
    X("app_m", ZX_APPM_RPC_LAN_GET_DEV_BANDWIDTH, 0x47103050u)                \
    X("app_m", ZX_APPM_RPC_LAN_GET_DEV_MAX_BANDWIDTH, 0x47103051u)            \
    X("app_m", ZX_APPM_RPC_LAN_SET_DEV_MAX_BANDWIDTH, 0x47103052u)            \
    X("app_m", ZX_APPM_RPC_WAN_GET_IF_STATS, 0x4710304Au)                     \
    X("app_m", ZX_APPM_RPC_SYS_GET_IP_ADDR, 0x4710304Cu)                      \
    X("app_m", ZX_APPM_RPC_SET_NAT_INFO, 0x47103058u)                         \
    X("app_m", ZX_APPM_RPC_WLAN_SET_STATE, 0x4710304Eu)                       \
    X("app_m", ZX_APPM_RPC_WLAN_GET_SSID_INFO, 0x47103069u)                   \
    X("app_m", ZX_APPM_RPC_WLAN_GET_SECURITY, 0x47103077u)                    \
    X("app_m", ZX_APPM_RPC_WLAN_SET_SECURITY, 0x47103078u)                    \
    X("app_m", ZX_APPM_RPC_WLAN_GET_STATE, 0x47103081u)                       \
    X("app_m", ZX_APPM_RPC_WLAN_GET_HIDE, 0x47103082u)                        \
    X("app_m", ZX_APPM_RPC_WLAN_SET_HIDE, 0x47103083u)                        \
    X("app_m", ZX_APPM_RPC_GET_CLOUD_STATUS, 0x4710306Cu)                     \
    X("app_m", ZX_APPM_RPC_SET_LED_STATE, 0x4710306Eu)                        \
    X("app_m", ZX_APPM_RPC_NOTIFY_PLATFORM_CONNECT_STATE, 0x47103084u)        \
    X("app_m", ZX_APPM_RPC_SET_FILES_SCAN_SWITCH, 0x47103056u)                \
    X("app_m", ZX_APPM_RPC_GET_FILES_SCAN_LIST, 0x47103057u)                  \
    X("app_m", ZX_APPM_RPC_GET_MEDIA_FILES_INFO, 0x472090A0u)                 \
    X("cwmp", ZX_CWMP_RPC_GET_MGT_ADDRESS, 0x47220007u)                       \
    X("wifi", ZX_WIFI_RPC_GET_WPS_STATE, 0x4760311Du)                         \
    X("wifi", ZX_WIFI_RPC_SET_FORBID_CHANNEL, 0x47603163u)                    \
    X("wifi", ZX_WIFI_RPC_SET_AUTO_CHANNEL_ENABLE, 0x47603164u)               \
    X("wifi", ZX_WIFI_RPC_SET_CHANNEL_WIDTH, 0x47603165u)                     \
    X("wifi", ZX_WIFI_JNI_RPC_GET_WLANHOSTINFO, 0x4760317Au)                  \
    X("wifi", ZX_WIFI_RPC_START_WPS, 0x47603A16u)                             \
    X("voice", ZX_VOICE_RPC_SET_POTS_DND, 0x47209064u)                        \
    X("voice", ZX_VOICE_RPC_GET_POTS_DND, 0x47209065u)                        \
    X("usb_mngt", ZX_USB_RPC_OPEN, 0x4710303Fu)                               \
    X("usb_mngt", ZX_USB_RPC_REGISTER, 0x47103041u)                           \
    X("usb_mngt", ZX_USB_RPC_UNREGISTER, 0x47103042u)                         \
    X("usb_mngt", ZX_USB_RPC_LOCK, 0x47103043u)                               \
    X("usb_mngt", ZX_USB_RPC_UNLOCK, 0x47103044u)                             \
    X("usb_mngt", ZX_USB_RPC_UNREGISTER_ALL, 0x47103076u)                     \
    X("usb_mngt", ZX_USB_RPC_CHANGE_DISC_NAME, 0x47103065u)                   \
    X("usb_mngt", ZX_USB_RPC_GET_MNT_PATH_BY_DISC_NAME, 0x47103066u)          \
    X("usb_mngt", ZX_USB_RPC_GET_DISC_INFO, 0x47103067u)                      \
    X("usb_mngt", ZX_USB_RPC_CHANGE_DISC_NAME_BY_PATH, 0x47103068u)           \
    X("osgi_proxy", ZX_OSGI_RPC_QUERY_STATE, 0x47103036u)                     \
    X("osgi_proxy", ZX_OSGI_RPC_INSTALL_PROCESS, 0x47103037u)                 \
    X("osgi_proxy", ZX_OSGI_RPC_RESERVED, 0x47103038u)                        \
    X("osgi_proxy", ZX_OSGI_RPC_INSTALL, 0x47103039u)                         \
    X("osgi_proxy", ZX_OSGI_RPC_CANCEL_INSTALL, 0x4710303Cu)                  \
    X("osgi_proxy", ZX_OSGI_RPC_OPERATE, 0x4710303Du)                         \
    X("osgi_proxy", ZX_OSGI_RPC_GET_DU_COUNT, 0x4720902Au)                    \
    X("osgi_proxy", ZX_OSGI_RPC_GET_PLUGIN_PERMISSIONS, 0x47209031u)          \
    X("eventcenter", ZX_EVENT_INFORM, 12342u)                                 \
    X("eventcenter", ZX_EVENT_NOTIFY, 12348u)                                 \
    X("eventcenter", ZX_EVENT_NOTIFY_EXTENDED, 12355u)

/* What the C translation unit saw: each record's name, its sizeof in C and the expected size;
 * each id's service, name, its value in C and the expected value. */
typedef struct {
    const char* name;
    size_t sizeInC;
    size_t expected;
} ZxTestWireRecord;

typedef struct {
    const char* service;
    const char* name;
    uint32_t valueInC;
    uint32_t expected;
} ZxTestWireId;

#ifdef __cplusplus
extern "C" {
#endif
extern const ZxTestWireRecord zx_test_wire_records_c[];
extern const size_t zx_test_wire_record_count_c;
extern const ZxTestWireId zx_test_wire_ids_c[];
extern const size_t zx_test_wire_id_count_c;
/* offsetof in C of a few fields that sit at unaligned or far offsets. */
extern const size_t zx_test_wire_offsets_c[4];
#ifdef __cplusplus
}
#endif

#endif
