// Platform capabilities and plug-in permissions: feature switches and the API list path from the
// platform's profile, the cloud registration status from "app_m", the deployment-unit count and
// the permissions from the bundle manager. Results go back unconverted. Every record of this unit
// names the source "../velm/zx_velm_jni_api".
#include "zx_velm_capability.h"

#include "trace_unit.h"
#include "zx_feature.h"
#include "zx_velm_bundle.h"
#include "zx_velm_jni_api.h"

namespace {

using zxtrace::kVelmApi;  // every record of this file
using zxtrace::operator""_ln;

constexpr const char* kPermissionFeature = "FT_PLUGIN_PERMISSION_ENABLE";
constexpr const char* kApiListSpec = "VELM_SPEC_PLUGIN_APILIST";
// The API list file lies in the customisation directory; the platform value names the file.
constexpr const char* kApiListFormat = "/etc/wap/customize/%s";
constexpr uint32_t kSpecValueBytes = 32;

// The bundle manager's permission and count commands are asked with module id word 0 (they have
// no row of their own in the time-out table and wait the default 60000 ms).
constexpr uint32_t kCapabilityMid = 0;

}  // namespace

extern "C" uint32_t ZX_JNI_GetFeatureSwitch(const char* pcFeatureName) {
    if (!pcFeatureName) {
        kVelmApi.last_word(2259_ln, 1);
        return 1;
    }
    return ZX_Feature_IsSupportByFeatureName(pcFeatureName);
}

extern "C" uint32_t ZX_JNI_GetPluginAPICapabilitesPath(char* buf, uint32_t size) {
    if (!buf) {
        kVelmApi.last_word(2288_ln, ZX_JNI_ERR_GENERAL);
        return ZX_JNI_ERR_GENERAL;
    }
    if (ZX_Feature_IsSupportByFeatureName(kPermissionFeature) != 1) {
        kVelmApi.last_word(2295_ln, 1);
        return 1;
    }
    char value[kSpecValueBytes];
    ZX_OS_MemSet_S(value, sizeof value, 0, sizeof value);
    uint32_t code = ZX_Spec_GetValueByName(kApiListSpec, value, sizeof value);
    if (code != 0) {
        kVelmApi.last_word(2303_ln, code);
        return code;
    }
    ZX_OS_Snprintf_S(buf, size, size - 1, kApiListFormat, value);
    return 0;
}

extern "C" uint32_t ZX_JNI_GetCloudStatus(uint32_t* puiStatus) {
    if (!puiStatus) return 1;
    uint32_t request = 0;
    uint32_t status = 0;
    uint32_t code =
        APPM_JNI_MSG_RpcCall(ZX_APPM_RPC_GET_CLOUD_STATUS, &request, sizeof request, &status, sizeof status);
    if (code != 0) {
        kVelmApi.last_word(2234_ln, code);
        return code;
    }
    *puiStatus = status;
    return 0;
}

extern "C" int32_t ZX_JNI_GetDuCount(uint32_t* puiCount) {
    if (!puiCount) return 1;
    uint32_t request = 0;
    ZX_OSGI_DU_COUNT_REPLY_S reply;
    ZX_OS_MemSet_S(&reply, sizeof reply, 0, sizeof reply);
    uint32_t code = OSGI_JNI_BundleMng_RpcCall(kCapabilityMid, ZX_OSGI_RPC_GET_DU_COUNT, &request, sizeof request,
                                               &reply, sizeof reply);
    if (code != 0) {
        kVelmApi.last_word(2367_ln, code);
        return static_cast<int32_t>(code);
    }
    *puiCount = reply.uiCount;
    return 0;
}

extern "C" int32_t ZX_JNI_GetPluginPermissions(uint32_t uiSize) {
    ZX_OSGI_PERMISSIONS_REQ_S req;
    ZX_OS_MemSet_S(&req, sizeof req, 0, sizeof req);
    req.uiSize = uiSize;
    uint32_t reply = 0;  // the bundle manager's word is not used: the call's own result tells
    uint32_t code = OSGI_JNI_BundleMng_RpcCall(kCapabilityMid, ZX_OSGI_RPC_GET_PLUGIN_PERMISSIONS, &req, sizeof req,
                                               &reply, sizeof reply);
    if (code != 0) kVelmApi.last_word(2337_ln, code);
    return static_cast<int32_t>(code);
}
