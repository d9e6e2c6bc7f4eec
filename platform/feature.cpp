// Feature switches and platform values (ZX_Spec_GetValueByName) from the gateway profile.
#include <cstring>
#include <string>

#include "internal.h"

ZX_EXPORT uint32_t ZX_Feature_IsSupportByFeatureName(const char* name) {
    if (!name) return 0;
    return zxp::feature_value(name) == 1 ? 1 : 0;
}

ZX_EXPORT uint32_t ZX_Spec_GetValueByName(const char* name, char* value, uint32_t size) {
    if (!name || !value || size == 0) return ZX_ERR_PARAM;
    std::string v;
    if (!zxp::spec_value(name, v)) {
        value[0] = '\0';
        return ZX_ERR_NOT_FOUND;
    }
    if (v.size() + 1 > size) {
        value[0] = '\0';
        return ZX_ERR_NOSPACE;
    }
    std::memcpy(value, v.c_str(), v.size() + 1);
    return ZX_OK;
}

ZX_EXPORT uint32_t ZX_UTL_ValidateIpAddress(const char* text) { return ZX_OS_IsValidIpAddress(text) ? 0 : 1; }
