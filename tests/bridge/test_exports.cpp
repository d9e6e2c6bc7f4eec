// What libzxjavabridge.so exports: exactly the functions, globals and Java natives other code and
// the VM may look up, nothing more. A unit that adds one adds it to this list.
#include <elf.h>
#include <gtest/gtest.h>

#include <map>
#include <optional>
#include <set>
#include <string>

#include "elf_symbols.h"
#include "zx_bridge.h"

namespace {

const std::set<std::string> kFunctions = {
    // Remote calls, shared-block transfer, Java strings
    "L2TP_MSG_RpcCall_JNI",
    "L2TP_APPM_MSG_RpcCall",
    "L2TP_CWMP_MSG_RpcCall",
    "ZEL_JNI_MSG_RpcCall",
    "TERN_JNI_MSG_RpcCall",
    "VOICE_JNI_MSG_RpcCall",
    "APPM_JNI_MSG_RpcCall",
    "USB_JNI_MSG_RpcCall",
    "OSGi_JNI_MSG_RpcCall",
    "ZEL_WIFI_JNI_MSG_RpcCall",
    "L2TP_API_WriteVData",
    "JNI_API_ReadVData",
    "OSGI_JNI_ZipWriteVData",
    "OSGI_JNI_ReadUnzipVData",
    "jstring2char",
    "char2jstring",
    // Entity service
    "JNIcreadmsgthread",
    "JNImsgthreadroutine",
    "JNImsgProc",
    "JNIloadComLib",
    "Java_com_zentrix_nodalis_deviceservice_entity_JNINativeMethods_startThread",
    "Java_com_zentrix_nodalis_deviceservice_entity_JNINativeMethods_send",
    // Tunnel and device-information API
    "ZX_TARN_AddVpnDestAddr",
    "ZX_TARN_DelVpnDestAddr",
    "ZX_TARN_SetVpnDestAddr",
    "ZX_TARN_AddVpnSrcAddr",
    "ZX_TARN_DelVpnSrcAddr",
    "ZX_TARN_SetVpnSrcAddr",
    "ZX_TARN_GetTunnelStatusByName",
    "ZX_TARN_SetupVpn",
    "ZX_TARN_DisconnectVpn",
    "ZX_TARN_AddTrafficMonitoringDestAddr",
    "ZX_TARN_DelTrafficMonitoringDestAddr",
    "ZX_TARN_TrafficMonitoringDestAddrOper",
    "ZX_TARN_TrafficMonitoringNotifyAppM",
    "ZX_TARN_AddDnsForward",
    "ZX_TARN_DelDnsForward",
    "ZX_TARN_GetDnsForwardStatistic",
    "ZX_TARN_getDnsAnalysis",
    "ZX_TARN_getDnsIpList",
    "ZX_TARN_GetInternetWanIp",
    "ZX_TARN_GetOntMac",
    "ZX_TARN_GetPppoeUserName",
    "ZX_TARN_getDeviceLANIP",
    "ZX_TARN_getDevicePPPoENameAndWANIP",
    "ZX_TARN_getDeviceWLANChannel",
    "ZX_TARN_getDeviceCloudAddress",
    "ZX_TARN_getDeviceCloudAddressAndPort",
    "ZX_VELM_getDevicePhyInfo",
    "ZX_VELM_getDeviceUpdateState",
    // Plug-in platform API: results, JSON helpers, system information
    "VELM_JSON_ObjPut",
    "ZX_JNI_IsValidBoolean",
    "ZX_OSGI_JNI_ZXErrConvert",
    "ZX_JNI_BuildResultJson",
    "OSGI_JNI_FaultStrBuild",
    "ZX_JNI_sysGetCpuUsage",
    "ZX_JNI_sysGetMemUsage",
    "ZX_JNI_sysGetLoid",
    // Plug-in platform API: bundle management and the operation log
    "OSGI_JNI_BundleMng_RpcCall",
    "OSGI_JNI_Bundle_Operate",
    "ZX_OSGI_JNI_BundleInfotoJson",
    "OSGI_JNI_FillVdataFromJsonPara",
    "OSGI_JNI_FillJsonStrFromVdata",
    "OSGI_JNI_FillInstallProcess",
    "OSGI_JNI_TransferLogAction",
    "OSGI_JNI_Log_Record",
    "OSGI_Bundle_Create_LogFile",
    // Natives of IBundleManageServiceJNI
    "Java_com_zentrix_nodalis_deviceservice_opco_wap_velm_jni_IBundleManageServiceJNI_install",
    "Java_com_zentrix_nodalis_deviceservice_opco_wap_velm_jni_IBundleManageServiceJNI_cancelInstall",
    "Java_com_zentrix_nodalis_deviceservice_opco_wap_velm_jni_IBundleManageServiceJNI_start",
    "Java_com_zentrix_nodalis_deviceservice_opco_wap_velm_jni_IBundleManageServiceJNI_stop",
    "Java_com_zentrix_nodalis_deviceservice_opco_wap_velm_jni_IBundleManageServiceJNI_uninstall",
    "Java_com_zentrix_nodalis_deviceservice_opco_wap_velm_jni_IBundleManageServiceJNI_reset",
    "Java_com_zentrix_nodalis_deviceservice_opco_wap_velm_jni_IBundleManageServiceJNI_queryBundleState",
    "Java_com_zentrix_nodalis_deviceservice_opco_wap_velm_jni_IBundleManageServiceJNI_queryInstallProcess",
    // Plug-in platform API: USB device access
    "ZX_JNI_UsbRegister",
    "ZX_JNI_UsbUnregister",
    "ZX_JNI_UsbLock",
    "ZX_JNI_UsbUnLock",
    "ZX_JNI_UsbOpen",
    "ZX_JNI_UsbClose",
    "ZX_JNI_UsbDataAvailable",
    "ZX_JNI_UsbRead",
    "ZX_JNI_UsbWrite",
    "ZX_JNI_UsbSetSerial",
    "ZX_JNI_UsbUnregisterAll",
    // Plug-in platform API: storage, file scan and media
    "ZX_JNI_setFilesScanSwitch",
    "ZX_JNI_getFilesScanListByType",
    "ZX_JNI_getDiscInfo",
    "ZX_JNI_changeDiscNameByPath",
    "ZX_JNI_changeDiscName",
    "ZX_JNI_getMntPathByDiscName",
    "ZX_JNI_GetStorage",
    "ZX_JNI_GetMediaFilesInfo",
    // Plug-in platform API: capabilities and permissions
    "ZX_JNI_GetFeatureSwitch",
    "ZX_JNI_GetPluginAPICapabilitesPath",
    "ZX_JNI_GetCloudStatus",
    "ZX_JNI_GetDuCount",
    "ZX_JNI_GetPluginPermissions",
    // WLAN, LED and LAN-port API
    "ZX_JNI_wlanSetState",
    "ZX_JNI_wlanGetState",
    "ZX_JNI_wlanGetHide",
    "ZX_JNI_wlanSetHide",
    "ZX_JNI_startWlanWps",
    "ZX_JNI_wlanGetWPSState",
    "ZX_JNI_wlanGetSecurity",
    "ZX_JNI_wlanSetSecurity",
    "ZX_JNI_wlanGetSsidInfo",
    "ZX_JNI_wlanSetAutoChannelEnable",
    "ZX_JNI_wlanSetChannelWidth",
    "ZX_JNI_wlanSetForbidChannel",
    "ZX_JNI_SetLEDState",
    "ZX_JNI_lanGetPortStatus",
    "ZX_JNI_NotifyPlatFormConnectState",
    "ZX_JNI_Cfg_GetHostNum",
    "ZX_JNI_lanGetNetInfo",
    "ZX_JNI_lanSetDevAccessPermission",
    "ZX_JNI_lanGetDevInternetAccessBlacklist",
    "ZX_JNI_lanGetDevStorageAccessBlacklist",
    "ZX_JNI_lanGetDevBandwidth",
    "ZX_JNI_lanSetDevStatsStatus",
    "ZX_JNI_GetLANHostStats",
    "ZX_JNI_MacStrToArr",
    "TransferMacFormat",
    "ZX_JNI_wanGetIfStats",
    "ZX_JNI_sysGetIpAddr",
    "ZX_JNI_wanGetPppoeAccount",
    "ZX_JNI_wanCreateL2tpTunnel",
    "ZX_JNI_wanRemoveL2tpTunnel",
    "ZX_JNI_wanAttachL2tpTunnel",
    "ZX_JNI_wanDetachL2tpTunnel",
    "ZX_JNI_wanGetL2tpTunnelStatus",
    "ZX_JNI_httpForwardStart",
    "ZX_JNI_httpForwardSetAuth",
    "ZX_JNI_httpForwardStop",
    "ZX_JNI_ipcSetNatInfo",
    // Natives of BaseServiceJNIMethods
    "Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_sysGetCpuUsage",
    "Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_sysGetMemUsage",
    "Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_sysGetLoid",
    "Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_usbRegister",
    "Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_usbUnregister",
    "Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_usbLock",
    "Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_usbUnlock",
    "Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_usbOpen",
    "Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_usbDataAvailable",
    "Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_usbRead",
    "Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_usbWrite",
    "Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_usbSetSerial",
    "Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_usbClose",
    "Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_usbUnregisterAll",
    "Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_wlanGetSecurity",
    "Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_wlanSetSecurity",
    "Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_wlanSetAutoChannelEnable",
    "Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_wlanSetChannelWidth",
    "Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_wlanSetForbidChannel",
    "Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_wlanSetState",
    "Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_wlanGetState",
    "Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_wlanGetHide",
    "Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_wlanSetHide",
    "Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_wlanStartWPS",
    "Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_wlanGetWPSState",
    "Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_getWLANHostInfo",
    "Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_sysGetWLanInfo",
    "Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_LedSetState",
    "Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_lanGetPortStatus",
    "Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_lanSetDevMaxBandwidth",
    "Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_lanGetDevMaxBandwidth",
    "Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_lanGetNetInfo",
    "Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_lanSetDevAccessPermission",
    "Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_lanGetDevInternetAccessBlacklist",
    "Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_lanGetDevStorageAccessBlacklist",
    "Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_lanGetDevBandwidth",
    "Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_lanSetDevStatsStatus",
    "Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_getLANHostStats",
    "Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_sysGetIpAddr",
    "Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_wanGetIfStats",
    "Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_wanGetPppoeAccount",
    "Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_wanCreateL2tpTunnel",
    "Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_wanRemoveL2tpTunnel",
    "Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_wanAttachL2tpTunnel",
    "Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_wanDetachL2tpTunnel",
    "Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_wanGetL2tpTunnelStatus",
    "Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_addWANAccessRule",
    "Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_deleteWANAccessRule",
    "Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_jniHttpForwardStart",
    "Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_jniHttpForwardAttachAuth",
    "Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_jniHttpForwardStop",
    "Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_eventInform",
    "Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_notifyEvent__Ljava_lang_String_2Ljava_lang_"
    "String_2",
    "Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_notifyEvent__Ljava_lang_String_2Ljava_lang_"
    "String_2Ljava_lang_String_2",
    "Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_osgiPrintF",
    "Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_NotifyServicePlatformConnectState",
    "Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_isCloudRegistered",
    "Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_setFilesScanSwitch",
    "Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_getFilesScanListByType",
    "Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_queryVolumeLabelInfo",
    "Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_changeVolumeLabelName",
    "Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_changeVolumeLabelNameByPath",
    "Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_getVolumeLabelMntPath",
    "Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_getMediaFilesInfo",
    "Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_getPluginPermissions",
    "Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_getFeatureSwitch",
    "Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_getAPIFilePath",
    "Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_voiceSetPOTSDoNotDisturb",
    "Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_voiceGetPOTSDoNotDisturbState",
    // Doubly-linked list
    "MakeNode",
    "FreeNode",
    "InitList",
    "GetHead",
    "GetTail",
    "GetSize",
    "GetNext",
    "GetPrevious",
    "GetItem",
    "SetItem",
    "IsEmpty",
    "InsFirst",
    "DelFirst",
    "InsTail",
    "RemoveTail",
    "ClearList",
    "DestroyList",
    // File service
    "canonicalize",
    "copyfile",
    "copydir",
    "Java_com_zentrix_nodalis_deviceservice_custom_fileservice_ZxUnixFileSystem_checkAccess",
    "Java_com_zentrix_nodalis_deviceservice_custom_fileservice_ZxUnixFileSystem_getBooleanAttributes",
    "Java_com_zentrix_nodalis_deviceservice_custom_fileservice_ZxUnixFileSystem_getLastModifiedTime",
    "Java_com_zentrix_nodalis_deviceservice_custom_fileservice_ZxUnixFileSystem_getLength",
    "Java_com_zentrix_nodalis_deviceservice_custom_fileservice_ZxUnixFileSystem_delete",
    "Java_com_zentrix_nodalis_deviceservice_custom_fileservice_ZxUnixFileSystem_list",
    "Java_com_zentrix_nodalis_deviceservice_custom_fileservice_ZxUnixFileSystem_createDirectory",
    "Java_com_zentrix_nodalis_deviceservice_custom_fileservice_ZxUnixFileSystem_rename",
    "Java_com_zentrix_nodalis_deviceservice_custom_fileservice_ZxUnixFileSystem_canonicalize0",
    "Java_com_zentrix_nodalis_deviceservice_custom_fileservice_ZxUnixFileSystem_initIDs",
    "Java_com_zentrix_nodalis_deviceservice_custom_expt_ZxFileUtils_copyFile",
};

// The exported globals and their sizes.
const std::map<std::string, uint64_t> kGlobals = {
    {"JniInitFlag", 4},
    {"handle", sizeof(void*)},  // the library's dlopen handle: 8 bytes on x86-64, 4 on 32-bit ARM
    {"g_stJNIOsgiMid", 32},
};

// The sanitizer build adds an indicator beside every exported global ("__odr_asan.handle").
bool sanitizer_symbol(const std::string& name) {
#if defined(__SANITIZE_ADDRESS__)
    return name.starts_with("__odr_asan.");
#else
    (void)name;
    return false;
#endif
}

// The list itself holds every native of the five Java classes: 69 of BaseServiceJNIMethods, 2 of
// the entity class, 8 of the bundle manager, 11 of the file service.
TEST(Exports, ListNamesEveryNativeOfTheFiveClasses) {
    size_t natives = 0;
    size_t baseService = 0;
    for (const std::string& name : kFunctions) {
        if (name.starts_with("Java_")) ++natives;
        if (name.starts_with("Java_com_zentrix_nodalis_deviceservice_impl_BaseServiceJNIMethods_")) ++baseService;
    }
    EXPECT_EQ(natives, 90u);
    EXPECT_EQ(baseService, 69u);
}

TEST(Exports, AreExactlyTheRequiredFunctionsGlobalsAndNatives) {
    std::optional<zxtest::LoadedObject> library =
        zxtest::loaded_object_of(reinterpret_cast<const void*>(&jstring2char));
    ASSERT_TRUE(library);
    ASSERT_NE(library->path.find("libzxjavabridge.so"), std::string::npos) << library->path;

    std::set<std::string> functions;
    std::map<std::string, uint64_t> globals;
    std::set<std::string> other;
    for (const zxtest::ElfSymbol& s : zxtest::elf_symbols(library->path, SHT_DYNSYM)) {
        if (!s.defined || s.bind == STB_LOCAL || sanitizer_symbol(s.name)) continue;
        if (s.bind == STB_GLOBAL && s.type == STT_FUNC)
            functions.insert(s.name);
        else if (s.bind == STB_GLOBAL && s.type == STT_OBJECT)
            globals[s.name] = s.size;
        else
            other.insert(s.name);
    }
    EXPECT_EQ(functions, kFunctions);
    EXPECT_EQ(globals, kGlobals);
    EXPECT_TRUE(other.empty()) << "exported with another binding or type: " << *other.begin();
}

}  // namespace
