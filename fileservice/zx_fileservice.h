/*
 * File-system natives: textual path canonicalisation and file and directory copy.
 * Messages go to the console (puts, printf, perror); nothing is traced.
 */
#ifndef ZX_FILESERVICE_H
#define ZX_FILESERVICE_H

#include <stdint.h>

#define ZX_FS_EXPORT __attribute__((visibility("default")))

#ifdef __cplusplus
extern "C" {
#endif

/* Appends the canonical form of path to out (which the caller passes zeroed): empty and "."
 * components are dropped and ".." cancels the component before it, purely by text. 0 on
 * success, -1 on failure (out may then hold a partial result). */
ZX_FS_EXPORT int32_t canonicalize(const char* path, char* out, uint32_t outSize);

/* Copies one file: 1 on success, 0 on failure. An existing destination is overwritten from its
 * start and keeps any longer tail. */
ZX_FS_EXPORT int32_t copyfile(const char* src, const char* dst);

/* Hands every entry of srcDir to copyfile into dstDir (one level, dstDir must exist): 1 when all
 * were handed over, 0 on an early failure. */
ZX_FS_EXPORT uint32_t copydir(const char* srcDir, const char* dstDir);

#ifdef __cplusplus
}
#endif

#endif
