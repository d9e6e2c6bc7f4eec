/*
 * Feature switches, platform values and address validation, read from the gateway profile.
 *
 * Host behaviour (Linux build): the gateway profile is the JSON file named by ZX_PROFILE, or the
 * default profile of the source tree. Its "features" object maps feature names to 0 or 1, its
 * "specValues" object maps the names of platform values to texts.
 */
#ifndef ZX_FEATURE_H
#define ZX_FEATURE_H

#include <stdint.h>

#include "zx_errno.h"

#ifdef __cplusplus
extern "C" {
#endif

/* 1 when the feature is switched on, 0 when it is off, unknown, or name is NULL. */
uint32_t ZX_Feature_IsSupportByFeatureName(const char *name);

/* Copies the platform value into value (at most size - 1 characters, terminated).
 * ZX_ERR_PARAM for NULL arguments or size 0, ZX_ERR_NOT_FOUND for an unknown name (value becomes
 * ""), ZX_ERR_NOSPACE when the value does not fit (value becomes ""). */
uint32_t ZX_Spec_GetValueByName(const char *name, char *value, uint32_t size);

/* 0 when text is a dotted IPv4 address, 1 otherwise (also for NULL). */
uint32_t ZX_UTL_ValidateIpAddress(const char *text);

#ifdef __cplusplus
}
#endif

#endif
