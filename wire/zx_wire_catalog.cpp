// The wire catalogue's table: records field by field and commands with the shape of their request
// and reply. Ids come from the headers' macros and offsets and sizes from offsetof and sizeof; the
// test in tests/wire/ checks the table against the headers themselves.
#include "zx_wire_catalog.h"

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <string>

#include "zx_eventcenter.h"
#include "zx_wire.h"

namespace zxwire {
namespace {

#define ZXW_MEMBER_SIZE(rec, member) static_cast<uint32_t>(sizeof(static_cast<rec*>(nullptr)->member))
#define ZXW_MEMBER_COUNT(rec, member) \
    static_cast<uint32_t>(sizeof(static_cast<rec*>(nullptr)->member) / sizeof(static_cast<rec*>(nullptr)->member[0]))
// A scalar field, a text or a byte array (one element).
#define ZXW_FIELD(rec, member, type) \
    Field{#member, FieldType::type, static_cast<uint32_t>(offsetof(rec, member)), ZXW_MEMBER_SIZE(rec, member), nullptr, 1}
// An array of words or of texts.
#define ZXW_ARRAY(rec, member, type)                                                                   \
    Field{#member, FieldType::type, static_cast<uint32_t>(offsetof(rec, member)), ZXW_MEMBER_SIZE(rec, member), \
          nullptr, ZXW_MEMBER_COUNT(rec, member)}
#define ZXW_NESTED(rec, member, type)                                                                   \
    Field{#member, FieldType::Nested, static_cast<uint32_t>(offsetof(rec, member)), ZXW_MEMBER_SIZE(rec, member), \
          &R(type), 1}
#define ZXW_NESTED_ARRAY(rec, member, type)                                                             \
    Field{#member, FieldType::Nested, static_cast<uint32_t>(offsetof(rec, member)), ZXW_MEMBER_SIZE(rec, member), \
          &R(type), ZXW_MEMBER_COUNT(rec, member)}

#define ZXW_RECORD_LIST(X) \
    X(ZX_WIRE_RESULT_REASON_S) \
    X(TunnelVDataRecord) \
    X(PluginVDataRecord) \
    X(ZX_TARN_VPN_REQ_S) \
    X(ZX_TARN_TRAFFIC_REQ_S) \
    X(ZX_TARN_PPPOE_USER_S) \
    X(ZX_TARN_DNS_REQ_S) \
    X(ZX_TARN_DNS_REPLY_S) \
    X(ZX_TARN_HOST_NUM_REPLY_S) \
    X(ZX_TARN_HOST_STATS_REQ_S) \
    X(ZX_TARN_HOST_STATS_REPLY_S) \
    X(ZX_TARN_ALWAYS_FORWARD_S) \
    X(ZX_TARN_DEFAULT_FORWARD_S) \
    X(ZX_APPM_TRAFFIC_NOTICE_S) \
    X(ZX_APPM_TRAFFIC_NOTICE_HEAD_S) \
    X(ZX_APPM_PPPOE_WAN_S) \
    X(ZX_APPM_MGT_ADDR_S) \
    X(ZX_APPM_DEV_ACCESS_REQ_S) \
    X(ZX_APPM_DEV_MAX_BANDWIDTH_S) \
    X(ZX_APPM_NAT_INFO_S) \
    X(ZX_APPM_WLAN_STATE_REQ_S) \
    X(ZX_APPM_WLAN_HIDE_S) \
    X(ZX_APPM_WLAN_SECURITY_S) \
    X(ZX_APPM_LED_STATE_REQ_S) \
    X(ZX_APPM_PLATFORM_STATE_S) \
    X(ZX_APPM_MEDIA_FILES_INFO_S) \
    X(ZX_CWMP_MGT_ADDR_S) \
    X(ZX_WIFI_WPS_START_REQ_S) \
    X(ZX_WIFI_WPS_STATE_S) \
    X(ZX_WIFI_AUTO_CHANNEL_REQ_S) \
    X(ZX_WIFI_CHANNEL_WIDTH_REQ_S) \
    X(ZX_WIFI_FORBID_CHANNEL_REQ_S) \
    X(ZX_WIFI_HOST_INFO_REQ_S) \
    X(ZX_VOICE_POTS_DND_SET_REQ_S) \
    X(ZX_VOICE_POTS_DND_GET_REQ_S) \
    X(ZX_VOICE_POTS_DND_GET_REPLY_S) \
    X(ZX_USB_PLUGIN_REQ_S) \
    X(ZX_USB_OPEN_REPLY_S) \
    X(ZX_USB_DISC_S) \
    X(ZX_USB_DISC_LIST_S) \
    X(ZX_USB_DISC_RENAME_REQ_S) \
    X(ZX_USB_DISC_RENAME_BY_PATH_REQ_S) \
    X(ZX_USB_DISC_RENAME_REPLY_S) \
    X(ZX_USB_MNT_PATH_REQ_S) \
    X(ZX_USB_MNT_PATH_REPLY_S) \
    X(ZX_OSGI_OPERATE_REQ_S) \
    X(ZX_OSGI_INSTALL_REQ_S) \
    X(ZX_OSGI_CANCEL_REQ_S) \
    X(ZX_OSGI_PROCESS_REQ_S) \
    X(ZX_OSGI_PROCESS_REPLY_S) \
    X(ZX_OSGI_QUERY_LIST_S) \
    X(ZX_OSGI_BUNDLE_INFO_S) \
    X(ZX_OSGI_STATE_LIST_S) \
    X(ZX_OSGI_DU_COUNT_REPLY_S) \
    X(ZX_OSGI_PERMISSIONS_REQ_S) \
    X(ZX_EVENT_RECORD_A_S) \
    X(ZX_EVENT_RECORD_B_S)

enum RecordIndex : size_t {
#define ZXW_INDEX(name) kIndex_##name,
    ZXW_RECORD_LIST(ZXW_INDEX)
#undef ZXW_INDEX
        kRecordCount
};

}  // namespace

// Defined below; the fields of a nested record point into it.
extern const Record kRecords[kRecordCount];
#define R(name) kRecords[kIndex_##name]

namespace {

const Field kF_ZX_WIRE_RESULT_REASON_S[] = {
    ZXW_FIELD(ZX_WIRE_RESULT_REASON_S, iResult, I32),
    ZXW_FIELD(ZX_WIRE_RESULT_REASON_S, acFailReason, Text),
};
const Field kF_TunnelVDataRecord[] = {
    ZXW_FIELD(TunnelVDataRecord, uivDataID, U32),
    ZXW_FIELD(TunnelVDataRecord, uiOriginalLen, U32),
    ZXW_FIELD(TunnelVDataRecord, uiCompressedLen, U32),
};
const Field kF_PluginVDataRecord[] = {
    ZXW_FIELD(PluginVDataRecord, uivDataID, U32),
    ZXW_FIELD(PluginVDataRecord, uiStoredLen, U32),
};
const Field kF_ZX_TARN_VPN_REQ_S[] = {
    ZXW_FIELD(ZX_TARN_VPN_REQ_S, acLnsAddr, Text),
    ZXW_FIELD(ZX_TARN_VPN_REQ_S, acPppUser, Text),
    ZXW_FIELD(ZX_TARN_VPN_REQ_S, acPppPass, Text),
    ZXW_FIELD(ZX_TARN_VPN_REQ_S, acTunnelName, Text),
    ZXW_FIELD(ZX_TARN_VPN_REQ_S, usPort, U16),
};
const Field kF_ZX_TARN_TRAFFIC_REQ_S[] = {
    ZXW_FIELD(ZX_TARN_TRAFFIC_REQ_S, stVData, TunnelBlock),
    ZXW_FIELD(ZX_TARN_TRAFFIC_REQ_S, acBundleName, Text),
};
const Field kF_ZX_TARN_PPPOE_USER_S[] = {
    ZXW_FIELD(ZX_TARN_PPPOE_USER_S, aucResv, Bytes),
    ZXW_FIELD(ZX_TARN_PPPOE_USER_S, acUserName, Text),
};
const Field kF_ZX_TARN_DNS_REQ_S[] = {
    ZXW_FIELD(ZX_TARN_DNS_REQ_S, acDomain, Text),
    ZXW_FIELD(ZX_TARN_DNS_REQ_S, uiResv, U32),
};
const Field kF_ZX_TARN_DNS_REPLY_S[] = {
    ZXW_ARRAY(ZX_TARN_DNS_REPLY_S, auiIpAddr, U32),
    ZXW_FIELD(ZX_TARN_DNS_REPLY_S, uiNum, U32),
};
const Field kF_ZX_TARN_HOST_NUM_REPLY_S[] = {
    ZXW_FIELD(ZX_TARN_HOST_NUM_REPLY_S, uiHostNum, U32),
    ZXW_FIELD(ZX_TARN_HOST_NUM_REPLY_S, aucResv, Bytes),
};
const Field kF_ZX_TARN_HOST_STATS_REQ_S[] = {
    ZXW_FIELD(ZX_TARN_HOST_STATS_REQ_S, aucMac, Mac),
};
const Field kF_ZX_TARN_HOST_STATS_REPLY_S[] = {
    ZXW_FIELD(ZX_TARN_HOST_STATS_REPLY_S, ullDsStats, U64),
    ZXW_FIELD(ZX_TARN_HOST_STATS_REPLY_S, ullUsStats, U64),
};
const Field kF_ZX_TARN_ALWAYS_FORWARD_S[] = {
    ZXW_FIELD(ZX_TARN_ALWAYS_FORWARD_S, uiAlwaysForwardPort, U32),
    ZXW_FIELD(ZX_TARN_ALWAYS_FORWARD_S, acAddr, Text),
};
const Field kF_ZX_TARN_DEFAULT_FORWARD_S[] = {
    ZXW_FIELD(ZX_TARN_DEFAULT_FORWARD_S, uiDefaultForwardPort, U32),
    ZXW_FIELD(ZX_TARN_DEFAULT_FORWARD_S, uiSsid, U32),
};
const Field kF_ZX_APPM_TRAFFIC_NOTICE_S[] = {
    ZXW_FIELD(ZX_APPM_TRAFFIC_NOTICE_S, stVData, TunnelBlock),
    ZXW_FIELD(ZX_APPM_TRAFFIC_NOTICE_S, uiFlag, U32),
};
const Field kF_ZX_APPM_TRAFFIC_NOTICE_HEAD_S[] = {
    ZXW_FIELD(ZX_APPM_TRAFFIC_NOTICE_HEAD_S, ucAdd, U8),
    ZXW_FIELD(ZX_APPM_TRAFFIC_NOTICE_HEAD_S, acBundleName, Text),
};
const Field kF_ZX_APPM_PPPOE_WAN_S[] = {
    ZXW_FIELD(ZX_APPM_PPPOE_WAN_S, acConnName, Text),
    ZXW_FIELD(ZX_APPM_PPPOE_WAN_S, acWanIp, Text),
    ZXW_FIELD(ZX_APPM_PPPOE_WAN_S, acPppoeName, Text),
};
const Field kF_ZX_APPM_MGT_ADDR_S[] = {
    ZXW_FIELD(ZX_APPM_MGT_ADDR_S, aucResv1, Bytes),
    ZXW_FIELD(ZX_APPM_MGT_ADDR_S, acMgtAddr, Text),
    ZXW_FIELD(ZX_APPM_MGT_ADDR_S, uiMgtPort, U32),
    ZXW_FIELD(ZX_APPM_MGT_ADDR_S, aucResv2, Bytes),
};
const Field kF_ZX_APPM_DEV_ACCESS_REQ_S[] = {
    ZXW_FIELD(ZX_APPM_DEV_ACCESS_REQ_S, acDevice, Text),
    ZXW_FIELD(ZX_APPM_DEV_ACCESS_REQ_S, acPermission1, Text),
    ZXW_FIELD(ZX_APPM_DEV_ACCESS_REQ_S, acPermission2, Text),
};
const Field kF_ZX_APPM_DEV_MAX_BANDWIDTH_S[] = {
    ZXW_FIELD(ZX_APPM_DEV_MAX_BANDWIDTH_S, acMac, Text),
    ZXW_FIELD(ZX_APPM_DEV_MAX_BANDWIDTH_S, uiFirstLimit, U32),
    ZXW_FIELD(ZX_APPM_DEV_MAX_BANDWIDTH_S, uiSecondLimit, U32),
};
const Field kF_ZX_APPM_NAT_INFO_S[] = {
    ZXW_FIELD(ZX_APPM_NAT_INFO_S, uiOperation, U32),
    ZXW_FIELD(ZX_APPM_NAT_INFO_S, uiPort, U32),
    ZXW_FIELD(ZX_APPM_NAT_INFO_S, acAddr1, Text),
    ZXW_FIELD(ZX_APPM_NAT_INFO_S, acAddr2, Text),
    ZXW_FIELD(ZX_APPM_NAT_INFO_S, acText3, Text),
};
const Field kF_ZX_APPM_WLAN_STATE_REQ_S[] = {
    ZXW_FIELD(ZX_APPM_WLAN_STATE_REQ_S, iSsidIndex, I32),
    ZXW_FIELD(ZX_APPM_WLAN_STATE_REQ_S, iState, I32),
};
const Field kF_ZX_APPM_WLAN_HIDE_S[] = {
    ZXW_FIELD(ZX_APPM_WLAN_HIDE_S, iSsidIndex, I32),
    ZXW_FIELD(ZX_APPM_WLAN_HIDE_S, iHide, I32),
};
const Field kF_ZX_APPM_WLAN_SECURITY_S[] = {
    ZXW_FIELD(ZX_APPM_WLAN_SECURITY_S, iSsidIndex, I32),
    ZXW_FIELD(ZX_APPM_WLAN_SECURITY_S, acFirstText, Text),
    ZXW_FIELD(ZX_APPM_WLAN_SECURITY_S, acKey, Text),
    ZXW_FIELD(ZX_APPM_WLAN_SECURITY_S, ucResv, U8),
};
const Field kF_ZX_APPM_LED_STATE_REQ_S[] = {
    ZXW_FIELD(ZX_APPM_LED_STATE_REQ_S, uiLedId, U32),
    ZXW_FIELD(ZX_APPM_LED_STATE_REQ_S, uiColor, U32),
    ZXW_FIELD(ZX_APPM_LED_STATE_REQ_S, uiOnTime, U32),
    ZXW_FIELD(ZX_APPM_LED_STATE_REQ_S, uiOffTime, U32),
};
const Field kF_ZX_APPM_PLATFORM_STATE_S[] = {
    ZXW_FIELD(ZX_APPM_PLATFORM_STATE_S, uiState, U32),
    ZXW_FIELD(ZX_APPM_PLATFORM_STATE_S, acText, Text),
};
const Field kF_ZX_APPM_MEDIA_FILES_INFO_S[] = {
    ZXW_FIELD(ZX_APPM_MEDIA_FILES_INFO_S, ullPictures, U64),
    ZXW_FIELD(ZX_APPM_MEDIA_FILES_INFO_S, ullVideos, U64),
    ZXW_FIELD(ZX_APPM_MEDIA_FILES_INFO_S, ullMusic, U64),
};
const Field kF_ZX_CWMP_MGT_ADDR_S[] = {
    ZXW_FIELD(ZX_CWMP_MGT_ADDR_S, acMgtAddr, Text),
    ZXW_FIELD(ZX_CWMP_MGT_ADDR_S, acMgtPort, Text),
};
const Field kF_ZX_WIFI_WPS_START_REQ_S[] = {
    ZXW_FIELD(ZX_WIFI_WPS_START_REQ_S, iSsidIndex, I32),
};
const Field kF_ZX_WIFI_WPS_STATE_S[] = {
    ZXW_FIELD(ZX_WIFI_WPS_STATE_S, uiState, U32),
    ZXW_FIELD(ZX_WIFI_WPS_STATE_S, aucResv, Bytes),
};
const Field kF_ZX_WIFI_AUTO_CHANNEL_REQ_S[] = {
    ZXW_FIELD(ZX_WIFI_AUTO_CHANNEL_REQ_S, iRadioIndex, I32),
    ZXW_FIELD(ZX_WIFI_AUTO_CHANNEL_REQ_S, iEnable, I32),
};
const Field kF_ZX_WIFI_CHANNEL_WIDTH_REQ_S[] = {
    ZXW_FIELD(ZX_WIFI_CHANNEL_WIDTH_REQ_S, iRadioIndex, I32),
    ZXW_FIELD(ZX_WIFI_CHANNEL_WIDTH_REQ_S, iChannelWidth, I32),
};
const Field kF_ZX_WIFI_FORBID_CHANNEL_REQ_S[] = {
    ZXW_FIELD(ZX_WIFI_FORBID_CHANNEL_REQ_S, iRadioIndex, I32),
    ZXW_FIELD(ZX_WIFI_FORBID_CHANNEL_REQ_S, iChannelNum, I32),
    ZXW_FIELD(ZX_WIFI_FORBID_CHANNEL_REQ_S, acChannels, Text),
};
const Field kF_ZX_WIFI_HOST_INFO_REQ_S[] = {
    ZXW_ARRAY(ZX_WIFI_HOST_INFO_REQ_S, aacMac, Text),
    ZXW_FIELD(ZX_WIFI_HOST_INFO_REQ_S, uiCount, U32),
};
const Field kF_ZX_VOICE_POTS_DND_SET_REQ_S[] = {
    ZXW_FIELD(ZX_VOICE_POTS_DND_SET_REQ_S, uiLine, U32),
    ZXW_FIELD(ZX_VOICE_POTS_DND_SET_REQ_S, uiState, U32),
};
const Field kF_ZX_VOICE_POTS_DND_GET_REQ_S[] = {
    ZXW_FIELD(ZX_VOICE_POTS_DND_GET_REQ_S, uiLine, U32),
};
const Field kF_ZX_VOICE_POTS_DND_GET_REPLY_S[] = {
    ZXW_FIELD(ZX_VOICE_POTS_DND_GET_REPLY_S, iState, I32),
};
const Field kF_ZX_USB_PLUGIN_REQ_S[] = {
    ZXW_FIELD(ZX_USB_PLUGIN_REQ_S, uiDevType, U32),
    ZXW_FIELD(ZX_USB_PLUGIN_REQ_S, acPlugId, Text),
};
const Field kF_ZX_USB_OPEN_REPLY_S[] = {
    ZXW_FIELD(ZX_USB_OPEN_REPLY_S, iResult, I32),
    ZXW_FIELD(ZX_USB_OPEN_REPLY_S, acDevPath, Text),
    ZXW_FIELD(ZX_USB_OPEN_REPLY_S, acFailReason, Text),
};
const Field kF_ZX_USB_DISC_S[] = {
    ZXW_FIELD(ZX_USB_DISC_S, acDiscName, Text),
    ZXW_FIELD(ZX_USB_DISC_S, acFsType, Text),
    ZXW_FIELD(ZX_USB_DISC_S, acMntPath, Text),
};
const Field kF_ZX_USB_DISC_LIST_S[] = {
    ZXW_FIELD(ZX_USB_DISC_LIST_S, uiCount, U32),
    ZXW_NESTED_ARRAY(ZX_USB_DISC_LIST_S, astDisc, ZX_USB_DISC_S),
};
const Field kF_ZX_USB_DISC_RENAME_REQ_S[] = {
    ZXW_FIELD(ZX_USB_DISC_RENAME_REQ_S, acDiscName, Text),
    ZXW_FIELD(ZX_USB_DISC_RENAME_REQ_S, acNewName, Text),
};
const Field kF_ZX_USB_DISC_RENAME_BY_PATH_REQ_S[] = {
    ZXW_FIELD(ZX_USB_DISC_RENAME_BY_PATH_REQ_S, acMntPath, Text),
    ZXW_FIELD(ZX_USB_DISC_RENAME_BY_PATH_REQ_S, acNewName, Text),
};
const Field kF_ZX_USB_DISC_RENAME_REPLY_S[] = {
    ZXW_FIELD(ZX_USB_DISC_RENAME_REPLY_S, aucResv, Bytes),
};
const Field kF_ZX_USB_MNT_PATH_REQ_S[] = {
    ZXW_FIELD(ZX_USB_MNT_PATH_REQ_S, acDiscName, Text),
};
const Field kF_ZX_USB_MNT_PATH_REPLY_S[] = {
    ZXW_FIELD(ZX_USB_MNT_PATH_REPLY_S, acMntPath, Text),
};
const Field kF_ZX_OSGI_OPERATE_REQ_S[] = {
    ZXW_FIELD(ZX_OSGI_OPERATE_REQ_S, acBundleName, Text),
    ZXW_FIELD(ZX_OSGI_OPERATE_REQ_S, acAction, Text),
    ZXW_FIELD(ZX_OSGI_OPERATE_REQ_S, aucResv, Bytes),
};
const Field kF_ZX_OSGI_INSTALL_REQ_S[] = {
    ZXW_FIELD(ZX_OSGI_INSTALL_REQ_S, acPluginName, Text),
    ZXW_FIELD(ZX_OSGI_INSTALL_REQ_S, acFilePath, Text),
    ZXW_FIELD(ZX_OSGI_INSTALL_REQ_S, uiFileSize, U32),
    ZXW_FIELD(ZX_OSGI_INSTALL_REQ_S, uiStartFlag, U32),
    ZXW_FIELD(ZX_OSGI_INSTALL_REQ_S, aucResv1, Bytes),
    ZXW_FIELD(ZX_OSGI_INSTALL_REQ_S, uiResv2, U32),
    ZXW_FIELD(ZX_OSGI_INSTALL_REQ_S, uiWanIndex, U32),
    ZXW_FIELD(ZX_OSGI_INSTALL_REQ_S, aucResv3, Bytes),
};
const Field kF_ZX_OSGI_CANCEL_REQ_S[] = {
    ZXW_FIELD(ZX_OSGI_CANCEL_REQ_S, acBundleName, Text),
    ZXW_FIELD(ZX_OSGI_CANCEL_REQ_S, aucResv, Bytes),
};
const Field kF_ZX_OSGI_PROCESS_REQ_S[] = {
    ZXW_FIELD(ZX_OSGI_PROCESS_REQ_S, aucResv1, Bytes),
    ZXW_FIELD(ZX_OSGI_PROCESS_REQ_S, acPluginName, Text),
    ZXW_FIELD(ZX_OSGI_PROCESS_REQ_S, aucResv2, Bytes),
};
const Field kF_ZX_OSGI_PROCESS_REPLY_S[] = {
    ZXW_FIELD(ZX_OSGI_PROCESS_REPLY_S, uiResult, U32),
    ZXW_FIELD(ZX_OSGI_PROCESS_REPLY_S, aucResv1, Bytes),
    ZXW_FIELD(ZX_OSGI_PROCESS_REPLY_S, uiStatus, U32),
    ZXW_FIELD(ZX_OSGI_PROCESS_REPLY_S, aucResv2, Bytes),
    ZXW_FIELD(ZX_OSGI_PROCESS_REPLY_S, acState, Text),
    ZXW_FIELD(ZX_OSGI_PROCESS_REPLY_S, uiPercent, U32),
};
const Field kF_ZX_OSGI_QUERY_LIST_S[] = {
    ZXW_FIELD(ZX_OSGI_QUERY_LIST_S, aucResv1, Bytes),
    ZXW_FIELD(ZX_OSGI_QUERY_LIST_S, uiFlag, U32),
    ZXW_FIELD(ZX_OSGI_QUERY_LIST_S, aucResv2, Bytes),
    ZXW_FIELD(ZX_OSGI_QUERY_LIST_S, uiCount, U32),
    ZXW_FIELD(ZX_OSGI_QUERY_LIST_S, aucResv3, Bytes),
    ZXW_ARRAY(ZX_OSGI_QUERY_LIST_S, aacBundleName, Text),
};
const Field kF_ZX_OSGI_BUNDLE_INFO_S[] = {
    ZXW_FIELD(ZX_OSGI_BUNDLE_INFO_S, acBundleName, Text),
    ZXW_FIELD(ZX_OSGI_BUNDLE_INFO_S, acVersion, Text),
    ZXW_FIELD(ZX_OSGI_BUNDLE_INFO_S, acState, Text),
};
const Field kF_ZX_OSGI_STATE_LIST_S[] = {
    ZXW_FIELD(ZX_OSGI_STATE_LIST_S, aucResv1, Bytes),
    ZXW_FIELD(ZX_OSGI_STATE_LIST_S, uiStatus, U32),
    ZXW_FIELD(ZX_OSGI_STATE_LIST_S, aucResv2, Bytes),
    ZXW_FIELD(ZX_OSGI_STATE_LIST_S, iCount, I32),
    ZXW_NESTED_ARRAY(ZX_OSGI_STATE_LIST_S, astBundle, ZX_OSGI_BUNDLE_INFO_S),
};
const Field kF_ZX_OSGI_DU_COUNT_REPLY_S[] = {
    ZXW_FIELD(ZX_OSGI_DU_COUNT_REPLY_S, uiCount, U32),
    ZXW_FIELD(ZX_OSGI_DU_COUNT_REPLY_S, aucResv, Bytes),
};
const Field kF_ZX_OSGI_PERMISSIONS_REQ_S[] = {
    ZXW_FIELD(ZX_OSGI_PERMISSIONS_REQ_S, uiSize, U32),
};
const Field kF_ZX_EVENT_RECORD_A_S[] = {
    ZXW_FIELD(ZX_EVENT_RECORD_A_S, uiResv, U32),
    ZXW_FIELD(ZX_EVENT_RECORD_A_S, acName, Text),
    ZXW_FIELD(ZX_EVENT_RECORD_A_S, acData, Text),
};
const Field kF_ZX_EVENT_RECORD_B_S[] = {
    ZXW_FIELD(ZX_EVENT_RECORD_B_S, acFirst, Text),
    ZXW_FIELD(ZX_EVENT_RECORD_B_S, acSecond, Text),
    ZXW_FIELD(ZX_EVENT_RECORD_B_S, acData, Text),
};
}  // namespace

const Record kRecords[kRecordCount] = {
#define ZXW_RECORD(name) Record{#name, static_cast<uint32_t>(sizeof(name)), kF_##name},
    ZXW_RECORD_LIST(ZXW_RECORD)
#undef ZXW_RECORD
};

namespace {

#define ZXW_COMMAND(macro, service, kind, request, reply, requestRecord, replyRecord, requestBlock, replyBlock, \
                    summary)                                                                                  \
    Command{#macro, macro, service, kind, request, reply, requestRecord, replyRecord, requestBlock, replyBlock, summary}

const Command kCommands[] = {
    // zx_wire_tarn.h
    ZXW_COMMAND(ZX_TARN_RPC_DNS_FORWARD_ADD, ZX_TARN_ENDPOINT, Kind::Call, Body::Record, Body::Word, &R(TunnelVDataRecord), nullptr, nullptr, nullptr,
                "adds a block's domains (domains, server) as forwarding rules"),
    ZXW_COMMAND(ZX_TARN_RPC_DNS_FORWARD_DEL, ZX_TARN_ENDPOINT, Kind::Call, Body::Record, Body::Word, &R(TunnelVDataRecord), nullptr, nullptr, nullptr,
                "removes the forwarding rules of the domains in a block"),
    ZXW_COMMAND(ZX_TARN_RPC_DNS_FORWARD_STATISTIC, ZX_TARN_ENDPOINT, Kind::Call, Body::Text, Body::Word, nullptr, nullptr, nullptr, nullptr,
                "answers a server's (text) forwarded queries, a word"),
    ZXW_COMMAND(ZX_TARN_RPC_TRAFFIC_MONITOR_ADD, ZX_TARN_ENDPOINT, Kind::Call, Body::Record, Body::Word, &R(ZX_TARN_TRAFFIC_REQ_S), nullptr, nullptr, nullptr,
                "starts monitoring a bundle's destination list"),
    ZXW_COMMAND(ZX_TARN_RPC_TRAFFIC_MONITOR_DEL, ZX_TARN_ENDPOINT, Kind::Call, Body::Record, Body::Word, &R(ZX_TARN_TRAFFIC_REQ_S), nullptr, nullptr, nullptr,
                "stops monitoring a bundle's destination list"),
    ZXW_COMMAND(ZX_TARN_RPC_VPN_SETUP, ZX_TARN_ENDPOINT, Kind::Call, Body::Record, Body::Text, &R(ZX_TARN_VPN_REQ_S), nullptr, nullptr, nullptr,
                "brings an L2TP tunnel up and answers its name"),
    ZXW_COMMAND(ZX_TARN_RPC_VPN_TEARDOWN, ZX_TARN_ENDPOINT, Kind::Call, Body::Record, Body::Word, &R(ZX_TARN_VPN_REQ_S), nullptr, nullptr, nullptr,
                "tears a tunnel down (by name, or by server and user)"),
    ZXW_COMMAND(ZX_TARN_RPC_VPN_ADDR_ADD, ZX_TARN_ENDPOINT, Kind::Call, Body::Record, Body::Word, &R(TunnelVDataRecord), nullptr, nullptr, nullptr,
                "adds a block's address list to a tunnel's dest or src list"),
    ZXW_COMMAND(ZX_TARN_RPC_VPN_ADDR_DEL, ZX_TARN_ENDPOINT, Kind::Call, Body::Record, Body::Word, &R(TunnelVDataRecord), nullptr, nullptr, nullptr,
                "removes a block's address list from a tunnel"),
    ZXW_COMMAND(ZX_TARN_RPC_GET_WAN_IP, ZX_TARN_ENDPOINT, Kind::Call, Body::Word, Body::Text, nullptr, nullptr, nullptr, nullptr,
                "answers the WAN address as text in 512 bytes"),
    ZXW_COMMAND(ZX_TARN_RPC_GET_ONT_MAC, ZX_TARN_ENDPOINT, Kind::Call, Body::Word, Body::Text, nullptr, nullptr, nullptr, nullptr,
                "answers the device MAC as text"),
    ZXW_COMMAND(ZX_TARN_RPC_GET_PPPOE_USER, ZX_TARN_ENDPOINT, Kind::Call, Body::Word, Body::Record, nullptr, &R(ZX_TARN_PPPOE_USER_S), nullptr, nullptr,
                "answers the PPPoE user at 128 of 192 bytes"),
    ZXW_COMMAND(ZX_TARN_RPC_GET_TUNNEL_STATUS, ZX_TARN_ENDPOINT, Kind::Call, Body::Text, Body::Word, nullptr, nullptr, nullptr, nullptr,
                "answers the status word of a tunnel named by a text"),
    ZXW_COMMAND(ZX_TARN_RPC_RESOLVE_DOMAIN, ZX_TARN_ENDPOINT, Kind::Call, Body::Record, Body::Record, &R(ZX_TARN_DNS_REQ_S), &R(ZX_TARN_DNS_REPLY_S), nullptr, nullptr,
                "resolves a domain to up to 64 IPv4 addresses"),
    ZXW_COMMAND(ZX_TARN_RPC_GET_HOST_NUM, ZX_TARN_ENDPOINT, Kind::Call, Body::Word, Body::Record, nullptr, &R(ZX_TARN_HOST_NUM_REPLY_S), nullptr, nullptr,
                "answers the number of LAN hosts in the first word of 2052 bytes"),
    ZXW_COMMAND(ZX_TARN_RPC_GET_LAN_HOST_STATS, ZX_TARN_ENDPOINT, Kind::Call, Body::Record, Body::Record, &R(ZX_TARN_HOST_STATS_REQ_S), &R(ZX_TARN_HOST_STATS_REPLY_S), nullptr, nullptr,
                "answers a host's down- and upstream counters by MAC"),
    ZXW_COMMAND(ZX_TARN_RPC_HTTP_FORWARD_INIT, ZX_TARN_ENDPOINT, Kind::Call, Body::Word, Body::Word, nullptr, nullptr, nullptr, nullptr,
                "clears the forwarding rules before a start"),
    ZXW_COMMAND(ZX_TARN_RPC_HTTP_FORWARD_STOP, ZX_TARN_ENDPOINT, Kind::Call, Body::Word, Body::Word, nullptr, nullptr, nullptr, nullptr,
                "stops forwarding"),
    ZXW_COMMAND(ZX_TARN_RPC_HTTP_FORWARD_ADD_AUTH, ZX_TARN_ENDPOINT, Kind::Call, Body::Raw, Body::Word, nullptr, nullptr, nullptr, nullptr,
                "admits one source address (text, no NUL)"),
    ZXW_COMMAND(ZX_TARN_RPC_HTTP_FORWARD_SET_ALWAYS_FORWARD_RULE, ZX_TARN_ENDPOINT, Kind::Call, Body::Record, Body::Word, &R(ZX_TARN_ALWAYS_FORWARD_S), nullptr, nullptr, nullptr,
                "always redirects one destination to a port"),
    ZXW_COMMAND(ZX_TARN_RPC_HTTP_FORWARD_SET_DEFAULT_FORWARD_RULE, ZX_TARN_ENDPOINT, Kind::Call, Body::Record, Body::Word, &R(ZX_TARN_DEFAULT_FORWARD_S), nullptr, nullptr, nullptr,
                "sets default port and SSID; starts"),
    ZXW_COMMAND(ZX_TARN_RPC_HTTP_FORWARD_ADD_WHITENAME_LIST, ZX_TARN_ENDPOINT, Kind::Call, Body::Text, Body::Word, nullptr, nullptr, nullptr, nullptr,
                "never redirects a destination (text)"),
    // zx_wire_app_m.h
    ZXW_COMMAND(ZX_APPM_NOTICE_TRAFFIC_MONITOR, ZX_APPM_ENDPOINT, Kind::Notice, Body::Record, Body::None, &R(ZX_APPM_TRAFFIC_NOTICE_S), nullptr, &R(ZX_APPM_TRAFFIC_NOTICE_HEAD_S), nullptr,
                "records a bundle's traffic-monitoring change (block and flag)"),
    ZXW_COMMAND(ZX_APPM_RPC_GET_MGT_ADDRESS, ZX_APPM_ENDPOINT, Kind::Call, Body::Word, Body::Record, nullptr, &R(ZX_APPM_MGT_ADDR_S), nullptr, nullptr,
                "answers the management address (offset 305) and port (562)"),
    ZXW_COMMAND(ZX_APPM_RPC_GET_LOID, ZX_APPM_ENDPOINT, Kind::Call, Body::Word, Body::Text, nullptr, nullptr, nullptr, nullptr,
                "answers the LOID as text; asked with a zero word"),
    ZXW_COMMAND(ZX_APPM_RPC_GET_WLAN_CHANNEL, ZX_APPM_ENDPOINT, Kind::Call, Body::Word, Body::Word, nullptr, nullptr, nullptr, nullptr,
                "answers the WLAN channel number as a word"),
    ZXW_COMMAND(ZX_APPM_RPC_GET_PPPOE_WAN, ZX_APPM_ENDPOINT, Kind::Call, Body::Record, Body::Record, &R(ZX_APPM_PPPOE_WAN_S), &R(ZX_APPM_PPPOE_WAN_S), nullptr, nullptr,
                "fills in the WAN address and PPPoE name of a named connection"),
    ZXW_COMMAND(ZX_APPM_RPC_GET_PHY_INFO, ZX_APPM_ENDPOINT, Kind::Call, Body::Word, Body::Text, nullptr, nullptr, nullptr, nullptr,
                "answers the physical device information as text"),
    ZXW_COMMAND(ZX_APPM_RPC_LAN_GET_NET_INFO, ZX_APPM_ENDPOINT, Kind::Call, Body::Word, Body::Json, nullptr, nullptr, nullptr, nullptr,
                "answers the LAN host list as JSON, 512 bytes a host"),
    ZXW_COMMAND(ZX_APPM_RPC_LAN_SET_DEV_ACCESS_PERMISSION, ZX_APPM_ENDPOINT, Kind::Call, Body::Record, Body::Json, &R(ZX_APPM_DEV_ACCESS_REQ_S), nullptr, nullptr, nullptr,
                "sets a device's access permissions (\"ON\"/\"OFF\")"),
    ZXW_COMMAND(ZX_APPM_RPC_LAN_GET_INTERNET_BLACKLIST, ZX_APPM_ENDPOINT, Kind::Call, Body::Word, Body::Json, nullptr, nullptr, nullptr, nullptr,
                "answers the Internet access black list as JSON"),
    ZXW_COMMAND(ZX_APPM_RPC_LAN_GET_STORAGE_BLACKLIST, ZX_APPM_ENDPOINT, Kind::Call, Body::Word, Body::Json, nullptr, nullptr, nullptr, nullptr,
                "answers the storage access black list as JSON"),
    ZXW_COMMAND(ZX_APPM_RPC_LAN_SET_DEV_STATS_STATUS, ZX_APPM_ENDPOINT, Kind::Call, Body::Word, Body::Json, nullptr, nullptr, nullptr, nullptr,
                "switches per-device statistics on or off"),
    ZXW_COMMAND(ZX_APPM_RPC_LAN_GET_PORT_STATUS, ZX_APPM_ENDPOINT, Kind::Call, Body::Word, Body::Json, nullptr, nullptr, nullptr, nullptr,
                "answers the LAN ports' status as JSON"),
    ZXW_COMMAND(ZX_APPM_RPC_LAN_GET_DEV_BANDWIDTH, ZX_APPM_ENDPOINT, Kind::Call, Body::Word, Body::Json, nullptr, nullptr, nullptr, nullptr,
                "answers the devices' bandwidth as JSON"),
    ZXW_COMMAND(ZX_APPM_RPC_LAN_GET_DEV_MAX_BANDWIDTH, ZX_APPM_ENDPOINT, Kind::Call, Body::Text, Body::Json, nullptr, nullptr, nullptr, nullptr,
                "answers a device's (MAC text) limits as JSON"),
    ZXW_COMMAND(ZX_APPM_RPC_LAN_SET_DEV_MAX_BANDWIDTH, ZX_APPM_ENDPOINT, Kind::Call, Body::Record, Body::Json, &R(ZX_APPM_DEV_MAX_BANDWIDTH_S), nullptr, nullptr, nullptr,
                "sets a device's two bandwidth limits, answers JSON"),
    ZXW_COMMAND(ZX_APPM_RPC_WAN_GET_IF_STATS, ZX_APPM_ENDPOINT, Kind::Call, Body::Word, Body::Json, nullptr, nullptr, nullptr, nullptr,
                "answers the WAN interface statistics as JSON"),
    ZXW_COMMAND(ZX_APPM_RPC_SYS_GET_IP_ADDR, ZX_APPM_ENDPOINT, Kind::Call, Body::Word, Body::Json, nullptr, nullptr, nullptr, nullptr,
                "answers the gateway's IP addresses as JSON"),
    ZXW_COMMAND(ZX_APPM_RPC_SET_NAT_INFO, ZX_APPM_ENDPOINT, Kind::Call, Body::Record, Body::Json, &R(ZX_APPM_NAT_INFO_S), nullptr, nullptr, nullptr,
                "adds or deletes a WAN access (NAT) rule"),
    ZXW_COMMAND(ZX_APPM_RPC_WLAN_SET_STATE, ZX_APPM_ENDPOINT, Kind::Call, Body::Record, Body::Json, &R(ZX_APPM_WLAN_STATE_REQ_S), nullptr, nullptr, nullptr,
                "switches an SSID on or off, answers JSON"),
    ZXW_COMMAND(ZX_APPM_RPC_WLAN_GET_SSID_INFO, ZX_APPM_ENDPOINT, Kind::Call, Body::Word, Body::Json, nullptr, nullptr, nullptr, nullptr,
                "answers an SSID's information (0: all SSIDs) as JSON"),
    ZXW_COMMAND(ZX_APPM_RPC_WLAN_GET_SECURITY, ZX_APPM_ENDPOINT, Kind::Call, Body::Record, Body::Json, &R(ZX_APPM_WLAN_SECURITY_S), nullptr, nullptr, nullptr,
                "answers an SSID's security settings as JSON"),
    ZXW_COMMAND(ZX_APPM_RPC_WLAN_SET_SECURITY, ZX_APPM_ENDPOINT, Kind::Call, Body::Record, Body::Json, &R(ZX_APPM_WLAN_SECURITY_S), nullptr, nullptr, nullptr,
                "sets an SSID's security settings, answers JSON"),
    ZXW_COMMAND(ZX_APPM_RPC_WLAN_GET_STATE, ZX_APPM_ENDPOINT, Kind::Call, Body::Word, Body::Word, nullptr, nullptr, nullptr, nullptr,
                "answers whether an SSID is on, as a word"),
    ZXW_COMMAND(ZX_APPM_RPC_WLAN_GET_HIDE, ZX_APPM_ENDPOINT, Kind::Call, Body::Word, Body::Word, nullptr, nullptr, nullptr, nullptr,
                "answers whether an SSID is hidden, as a word"),
    ZXW_COMMAND(ZX_APPM_RPC_WLAN_SET_HIDE, ZX_APPM_ENDPOINT, Kind::Call, Body::Record, Body::Record, &R(ZX_APPM_WLAN_HIDE_S), &R(ZX_APPM_WLAN_HIDE_S), nullptr, nullptr,
                "hides or shows an SSID, answering in the request record"),
    ZXW_COMMAND(ZX_APPM_RPC_GET_CLOUD_STATUS, ZX_APPM_ENDPOINT, Kind::Call, Body::Word, Body::Word, nullptr, nullptr, nullptr, nullptr,
                "answers the cloud registration status as a word"),
    ZXW_COMMAND(ZX_APPM_RPC_SET_LED_STATE, ZX_APPM_ENDPOINT, Kind::Call, Body::Record, Body::Json, &R(ZX_APPM_LED_STATE_REQ_S), nullptr, nullptr, nullptr,
                "sets an LED's colour and blink timing, answers text"),
    ZXW_COMMAND(ZX_APPM_RPC_NOTIFY_PLATFORM_CONNECT_STATE, ZX_APPM_ENDPOINT, Kind::Call, Body::Record, Body::None, &R(ZX_APPM_PLATFORM_STATE_S), nullptr, nullptr, nullptr,
                "takes the platform connection state; no reply"),
    ZXW_COMMAND(ZX_APPM_RPC_SET_FILES_SCAN_SWITCH, ZX_APPM_ENDPOINT, Kind::Call, Body::Word, Body::Json, nullptr, nullptr, nullptr, nullptr,
                "switches the media-file scanner, answers a text"),
    ZXW_COMMAND(ZX_APPM_RPC_GET_FILES_SCAN_LIST, ZX_APPM_ENDPOINT, Kind::Call, Body::Text, Body::Record, nullptr, &R(TunnelVDataRecord), nullptr, nullptr,
                "answers the scanned files of a type (text) in a block"),
    ZXW_COMMAND(ZX_APPM_RPC_GET_MEDIA_FILES_INFO, ZX_APPM_ENDPOINT, Kind::Call, Body::Word, Body::Record, nullptr, &R(ZX_APPM_MEDIA_FILES_INFO_S), nullptr, nullptr,
                "answers the counts of pictures, videos and music files"),
    // zx_wire_cwmp.h
    ZXW_COMMAND(ZX_CWMP_RPC_GET_MGT_ADDRESS, ZX_CWMP_ENDPOINT, Kind::Call, Body::Word, Body::Record, nullptr, &R(ZX_CWMP_MGT_ADDR_S), nullptr, nullptr,
                "answers the management address and its port as two texts"),
    // zx_wire_wifi.h
    ZXW_COMMAND(ZX_WIFI_RPC_GET_WPS_STATE, ZX_WIFI_ENDPOINT, Kind::Call, Body::Record, Body::Record, &R(ZX_WIFI_WPS_STATE_S), &R(ZX_WIFI_WPS_STATE_S), nullptr, nullptr,
                "answers the one WPS state in the first word of 18 bytes"),
    ZXW_COMMAND(ZX_WIFI_RPC_SET_FORBID_CHANNEL, ZX_WIFI_ENDPOINT, Kind::Call, Body::Record, Body::Word, &R(ZX_WIFI_FORBID_CHANNEL_REQ_S), nullptr, nullptr, nullptr,
                "sets a radio's forbidden channels"),
    ZXW_COMMAND(ZX_WIFI_RPC_SET_AUTO_CHANNEL_ENABLE, ZX_WIFI_ENDPOINT, Kind::Call, Body::Record, Body::Word, &R(ZX_WIFI_AUTO_CHANNEL_REQ_S), nullptr, nullptr, nullptr,
                "switches a radio's automatic channel selection"),
    ZXW_COMMAND(ZX_WIFI_RPC_SET_CHANNEL_WIDTH, ZX_WIFI_ENDPOINT, Kind::Call, Body::Record, Body::Word, &R(ZX_WIFI_CHANNEL_WIDTH_REQ_S), nullptr, nullptr, nullptr,
                "sets a radio's channel width"),
    ZXW_COMMAND(ZX_WIFI_JNI_RPC_GET_WLANHOSTINFO, ZX_WIFI_ENDPOINT, Kind::Call, Body::Record, Body::Json, &R(ZX_WIFI_HOST_INFO_REQ_S), nullptr, nullptr, nullptr,
                "answers the wireless hosts (all, or up to 8 MACs) as JSON"),
    ZXW_COMMAND(ZX_WIFI_RPC_START_WPS, ZX_WIFI_ENDPOINT, Kind::Call, Body::Record, Body::Word, &R(ZX_WIFI_WPS_START_REQ_S), nullptr, nullptr, nullptr,
                "starts WPS on an SSID"),
    // zx_wire_voice.h
    ZXW_COMMAND(ZX_VOICE_RPC_SET_POTS_DND, ZX_VOICE_ENDPOINT, Kind::Call, Body::Record, Body::None, &R(ZX_VOICE_POTS_DND_SET_REQ_S), nullptr, nullptr, nullptr,
                "sets a line's do-not-disturb state; no reply read"),
    ZXW_COMMAND(ZX_VOICE_RPC_GET_POTS_DND, ZX_VOICE_ENDPOINT, Kind::Call, Body::Record, Body::Record, &R(ZX_VOICE_POTS_DND_GET_REQ_S), &R(ZX_VOICE_POTS_DND_GET_REPLY_S), nullptr, nullptr,
                "answers a line's do-not-disturb state as a signed word"),
    // zx_wire_usb_mngt.h
    ZXW_COMMAND(ZX_USB_RPC_OPEN, ZX_USB_ENDPOINT, Kind::Call, Body::Word, Body::Record, nullptr, &R(ZX_USB_OPEN_REPLY_S), nullptr, nullptr,
                "answers the device file of a device id, or why not"),
    ZXW_COMMAND(ZX_USB_RPC_REGISTER, ZX_USB_ENDPOINT, Kind::Call, Body::Record, Body::Record, &R(ZX_USB_PLUGIN_REQ_S), &R(ZX_WIRE_RESULT_REASON_S), nullptr, nullptr,
                "registers a plug-in's interest in a device type"),
    ZXW_COMMAND(ZX_USB_RPC_UNREGISTER, ZX_USB_ENDPOINT, Kind::Call, Body::Record, Body::Record, &R(ZX_USB_PLUGIN_REQ_S), &R(ZX_WIRE_RESULT_REASON_S), nullptr, nullptr,
                "withdraws a plug-in's registration"),
    ZXW_COMMAND(ZX_USB_RPC_LOCK, ZX_USB_ENDPOINT, Kind::Call, Body::Word, Body::Record, nullptr, &R(ZX_WIRE_RESULT_REASON_S), nullptr, nullptr,
                "locks a device for the calling plug-in"),
    ZXW_COMMAND(ZX_USB_RPC_UNLOCK, ZX_USB_ENDPOINT, Kind::Call, Body::Word, Body::Record, nullptr, &R(ZX_WIRE_RESULT_REASON_S), nullptr, nullptr,
                "releases a device lock"),
    ZXW_COMMAND(ZX_USB_RPC_UNREGISTER_ALL, ZX_USB_ENDPOINT, Kind::Call, Body::None, Body::None, nullptr, nullptr, nullptr, nullptr,
                "drops every registration and lock; no request, no reply read"),
    ZXW_COMMAND(ZX_USB_RPC_CHANGE_DISC_NAME, ZX_USB_ENDPOINT, Kind::Call, Body::Record, Body::Record, &R(ZX_USB_DISC_RENAME_REQ_S), &R(ZX_USB_DISC_RENAME_REPLY_S), nullptr, nullptr,
                "renames a disc named by its current name"),
    ZXW_COMMAND(ZX_USB_RPC_GET_MNT_PATH_BY_DISC_NAME, ZX_USB_ENDPOINT, Kind::Call, Body::Record, Body::Record, &R(ZX_USB_MNT_PATH_REQ_S), &R(ZX_USB_MNT_PATH_REPLY_S), nullptr, nullptr,
                "answers the mount path of a named disc"),
    ZXW_COMMAND(ZX_USB_RPC_GET_DISC_INFO, ZX_USB_ENDPOINT, Kind::Call, Body::Raw, Body::Record, nullptr, &R(ZX_USB_DISC_LIST_S), nullptr, nullptr,
                "answers the disc list (the request is \"input\", no NUL)"),
    ZXW_COMMAND(ZX_USB_RPC_CHANGE_DISC_NAME_BY_PATH, ZX_USB_ENDPOINT, Kind::Call, Body::Record, Body::Record, &R(ZX_USB_DISC_RENAME_BY_PATH_REQ_S), &R(ZX_USB_DISC_RENAME_REPLY_S), nullptr, nullptr,
                "renames the disc mounted at a path"),
    // zx_wire_osgi_proxy.h
    ZXW_COMMAND(ZX_OSGI_RPC_QUERY_STATE, ZX_OSGI_ENDPOINT, Kind::Call, Body::Record, Body::Record, &R(PluginVDataRecord), &R(PluginVDataRecord), &R(ZX_OSGI_QUERY_LIST_S), &R(ZX_OSGI_STATE_LIST_S),
                "answers the states of the bundles named in a block, in a block"),
    ZXW_COMMAND(ZX_OSGI_RPC_INSTALL_PROCESS, ZX_OSGI_ENDPOINT, Kind::Call, Body::Record, Body::Record, &R(ZX_OSGI_PROCESS_REQ_S), &R(ZX_OSGI_PROCESS_REPLY_S), nullptr, nullptr,
                "answers an install's state text and percent"),
    ZXW_COMMAND(ZX_OSGI_RPC_RESERVED, ZX_OSGI_ENDPOINT, Kind::Call, Body::None, Body::None, nullptr, nullptr, nullptr, nullptr,
                "in the time-out table; the library sends it nothing"),
    ZXW_COMMAND(ZX_OSGI_RPC_INSTALL, ZX_OSGI_ENDPOINT, Kind::Call, Body::Record, Body::Word, &R(ZX_OSGI_INSTALL_REQ_S), nullptr, nullptr, nullptr,
                "installs a bundle from a package file (and starts it if asked)"),
    ZXW_COMMAND(ZX_OSGI_RPC_CANCEL_INSTALL, ZX_OSGI_ENDPOINT, Kind::Call, Body::Record, Body::Word, &R(ZX_OSGI_CANCEL_REQ_S), nullptr, nullptr, nullptr,
                "cancels an install in progress"),
    ZXW_COMMAND(ZX_OSGI_RPC_OPERATE, ZX_OSGI_ENDPOINT, Kind::Call, Body::Record, Body::Word, &R(ZX_OSGI_OPERATE_REQ_S), nullptr, nullptr, nullptr,
                "starts, stops, uninstalls or resets (\"FactoryPlugin\") a bundle"),
    ZXW_COMMAND(ZX_OSGI_RPC_GET_DU_COUNT, ZX_OSGI_ENDPOINT, Kind::Call, Body::Word, Body::Record, nullptr, &R(ZX_OSGI_DU_COUNT_REPLY_S), nullptr, nullptr,
                "answers the number of deployment units in the first word"),
    ZXW_COMMAND(ZX_OSGI_RPC_GET_PLUGIN_PERMISSIONS, ZX_OSGI_ENDPOINT, Kind::Call, Body::Record, Body::Word, &R(ZX_OSGI_PERMISSIONS_REQ_S), nullptr, nullptr, nullptr,
                "writes the permissions into the caller's shared segment"),
    // zx_wire_eventcenter.h
    ZXW_COMMAND(ZX_EVENT_INFORM, ZX_EVENTCENTER_ENDPOINT, Kind::Event, Body::Record, Body::None, &R(ZX_EVENT_RECORD_A_S), nullptr, nullptr, nullptr,
                "a plug-in's event: name and data (record A)"),
    ZXW_COMMAND(ZX_EVENT_NOTIFY, ZX_EVENTCENTER_ENDPOINT, Kind::Event, Body::Record, Body::None, &R(ZX_EVENT_RECORD_A_S), nullptr, nullptr, nullptr,
                "a plug-in's notification: name and data (record A)"),
    ZXW_COMMAND(ZX_EVENT_NOTIFY_EXTENDED, ZX_EVENTCENTER_ENDPOINT, Kind::Event, Body::Record, Body::None, &R(ZX_EVENT_RECORD_B_S), nullptr, nullptr, nullptr,
                "a notification with two names and data (record B)"),
};

#undef ZXW_COMMAND
#undef R

bool same_name(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) return false;
    for (size_t i = 0; i < a.size(); ++i) {
        char x = a[i] == '-' ? '_' : static_cast<char>(std::toupper(static_cast<unsigned char>(a[i])));
        char y = b[i] == '-' ? '_' : static_cast<char>(std::toupper(static_cast<unsigned char>(b[i])));
        if (x != y) return false;
    }
    return true;
}

bool holds(std::string_view hay, std::string_view needle) {
    if (needle.empty() || needle.size() > hay.size()) return false;
    for (size_t i = 0; i + needle.size() <= hay.size(); ++i)
        if (same_name(hay.substr(i, needle.size()), needle)) return true;
    return false;
}

}  // namespace

std::span<const Command> commands() { return kCommands; }
std::span<const Record> records() { return kRecords; }

const Command* find(std::string_view service, uint32_t id) {
    for (const Command& c : kCommands)
        if (c.id == id && service == c.service) return &c;
    return nullptr;
}

std::string_view short_name(const Command& c) {
    std::string_view n = c.name;
    for (std::string_view mark : {"_RPC_", "_NOTICE_"}) {
        size_t at = n.find(mark);
        if (at != std::string_view::npos) return n.substr(at + mark.size());
    }
    if (n.starts_with("ZX_EVENT_")) return n.substr(9);
    return n;
}

std::vector<const Command*> match(std::string_view service, std::string_view text) {
    std::vector<const Command*> exact, part;
    for (const Command& c : kCommands) {
        if (!service.empty() && service != c.service) continue;
        if (same_name(c.name, text) || same_name(short_name(c), text))
            exact.push_back(&c);
        else if (holds(c.name, text))
            part.push_back(&c);
    }
    return exact.empty() ? part : exact;
}

const Record* record(std::string_view name) {
    for (const Record& r : kRecords)
        if (name == r.name) return &r;
    return nullptr;
}

const char* kind_name(Kind k) {
    switch (k) {
        case Kind::Call: return "call";
        case Kind::Notice: return "notice";
        case Kind::Event: return "event";
    }
    return "?";
}

const char* body_name(Body b) {
    switch (b) {
        case Body::None: return "none";
        case Body::Word: return "word";
        case Body::Text: return "text";
        case Body::Json: return "json";
        case Body::Record: return "record";
        case Body::Raw: return "raw";
    }
    return "?";
}

const char* field_type_name(FieldType t) {
    switch (t) {
        case FieldType::U8: return "u8";
        case FieldType::U16: return "u16";
        case FieldType::U32: return "u32";
        case FieldType::U64: return "u64";
        case FieldType::I8: return "i8";
        case FieldType::I16: return "i16";
        case FieldType::I32: return "i32";
        case FieldType::I64: return "i64";
        case FieldType::Text: return "text";
        case FieldType::Bytes: return "bytes";
        case FieldType::Mac: return "mac";
        case FieldType::TunnelBlock: return "tunnel-block";
        case FieldType::PluginBlock: return "plugin-block";
        case FieldType::Nested: return "record";
    }
    return "?";
}

}  // namespace zxwire
