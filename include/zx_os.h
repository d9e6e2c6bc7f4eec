/*
 * Operating-system layer of the gateway platform library (libzx_kor_basic.so).
 *
 * Host behaviour (Linux build):
 *  - Gateway absolute paths ("/var/...", "/mnt/jffs2/...", "/etc/...") given to ZX_OS_Open and
 *    ZX_OS_Fopen are resolved under the gateway root, so the library's literal paths work
 *    unprivileged and never reach the host's own /var or /mnt by accident. The gateway root is
 *    the directory named by ZX_ROOT; when ZX_ROOT is unset or empty, a directory of the user's
 *    own, made with mode 0700 (and var/ inside) on first use:
 *    ${XDG_STATE_HOME:-$HOME/.local/state}/zxgateway/root, or ${TMPDIR:-/tmp}/zxgateway-<uid>/root
 *    when that cannot be made (no HOME, a read-only one); ZX_ROOT=/ uses the paths as they are.
 *    ".." steps never climb above the root. Paths under /dev, /proc and /sys, relative paths
 *    and paths already inside the root are used as they are.
 *  - Functions returning uint32_t answer ZX_OK (0) or a code of zx_errno.h.
 *  - ZX_OS_GetLastErr() returns errno of the calling thread; the bounded string functions set it
 *    to ERANGE when they cut.
 */
#ifndef ZX_OS_H
#define ZX_OS_H

#include <stdint.h>
#include <stdio.h>
#include <sys/types.h>

#include "zx_errno.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---------------------------------------------------------------------------------------------
 * Tracing allocator. Every block is counted until it is freed; the host library can fail a
 * chosen allocation to drive callers' out-of-memory paths (see platform/host/zx_host.h).
 * ------------------------------------------------------------------------------------------- */

/* Allocates size bytes (not cleared). line/file name the caller; flags and module are kept in the
 * block's record. Returns NULL when size is 0, when memory is short or when a fault is injected. */
void *ZX_OS_MemMallocD(uint32_t size, uint32_t line, uint32_t flags, uint32_t module, const char *file);

/* Allocates size bytes and fills them with the byte fill. Same failures as ZX_OS_MemMallocD. */
void *ZX_OS_MemMallocSet(uint32_t size, uint32_t fill, uint32_t flags, uint32_t module, uint32_t line,
                         const char *file);

/* Releases a block. NULL is ignored. A pointer this allocator did not hand out (a block from the
 * system allocator) is released with free() as the gateway's allocator does. */
void ZX_OS_MemFreeD(void *ptr, const char *file, uint32_t line);

/* Copy of a text in a block of the tracing allocator (release with ZX_OS_MemFreeD); NULL for a
 * NULL text or when memory is short. */
char *ZX_OS_StrDup(const char *text);

/* ---------------------------------------------------------------------------------------------
 * Bounded memory and string functions. None writes past dstSize; every text result is
 * terminated when dstSize is at least 1.
 * ------------------------------------------------------------------------------------------- */

/* Fills min(count, dstSize) bytes with c. ZX_ERR_PARAM for a NULL dst (nothing written),
 * ZX_ERR_CUT when count > dstSize (dstSize bytes filled). */
uint32_t ZX_OS_MemSet_S(void *dst, uint32_t dstSize, int32_t c, uint32_t count);

/* Copies min(count, dstSize) bytes (regions may overlap). ZX_ERR_PARAM for a NULL dst or a NULL
 * src with a non-zero count (nothing written); ZX_ERR_CUT when count > dstSize: the first dstSize
 * bytes are copied and nothing beyond dst + dstSize is touched. */
uint32_t ZX_OS_MemCpy_S(void *dst, uint32_t dstSize, const void *src, uint32_t count);

/* Copies at most count characters of src (fewer when src ends first) and terminates.
 * A limit by count is the caller's intent and answers ZX_OK. When the text to copy is longer than
 * dstSize - 1 the copy is cut to dstSize - 1 characters, terminated, and ZX_ERR_CUT returned.
 * ZX_ERR_PARAM for a NULL dst or a dstSize of 0 (nothing written) and for a NULL src (dst becomes
 * ""). */
uint32_t ZX_OS_StrNCpy_S(char *dst, uint32_t dstSize, const char *src, uint32_t count);

/* Appends at most count characters of src to the text in dst. What does not fit into dstSize is
 * cut (ZX_ERR_CUT, dst stays terminated). ZX_ERR_PARAM for NULL arguments or a dstSize of 0; when
 * dst holds no terminator within dstSize it is terminated at dstSize - 1 and ZX_ERR_PARAM
 * returned. */
uint32_t ZX_OS_StrNCat_S(char *dst, uint32_t dstSize, const char *src, uint32_t count);

/* Formats at most min(count, dstSize - 1) characters into dst and terminates. Returns the number
 * of characters stored (never more than dstSize - 1, so a caller adding it to a write position
 * stays inside the buffer), or -1 for a NULL dst or format or a dstSize of 0. A cut sets errno to
 * ERANGE (ZX_OS_GetLastErr). */
int32_t ZX_OS_Snprintf_S(char *dst, uint32_t dstSize, uint32_t count, const char *fmt, ...)
    __attribute__((format(printf, 4, 5)));

/* sscanf with NULL checks: -1 for a NULL text or format. %s and %[ must carry a field width. */
int32_t ZX_OS_Sscanf_S(const char *text, const char *fmt, ...) __attribute__((format(scanf, 2, 3)));

/* strcmp that accepts NULL (NULL sorts before any text, two NULLs are equal). */
int32_t ZX_OS_StrCmp(const char *a, const char *b);

/* Decimal text to number; leading and trailing blanks allowed, nothing else. *out is written only
 * on success. ZX_ERR_PARAM for NULL or a text that is not a number, ZX_ERR_CUT on overflow. */
uint32_t ZX_OS_StrToUInt32(const char *text, uint32_t *out);
uint32_t ZX_OS_StrToInt32(const char *text, int32_t *out);

/* printf to standard output (the gateway's console). */
int32_t ZX_OS_Printf(const char *fmt, ...) __attribute__((format(printf, 1, 2)));

/* errno of the calling thread. */
int32_t ZX_OS_GetLastErr(void);

/* ---------------------------------------------------------------------------------------------
 * Files. Gateway absolute paths are resolved under the gateway root (see the top of this file).
 * ------------------------------------------------------------------------------------------- */

int32_t ZX_OS_Open(const char *path, int32_t flags, int32_t mode); /* fd or -1 (errno set) */
int32_t ZX_OS_Read(int32_t fd, void *buf, uint32_t len);           /* bytes read or -1 */
int32_t ZX_OS_Write(int32_t fd, const void *buf, uint32_t len);    /* bytes written or -1 */
int32_t ZX_OS_Close(int32_t fd);                                   /* 0 or -1 */
FILE *ZX_OS_Fopen(const char *path, const char *mode);             /* NULL on failure */
int32_t ZX_OS_Fclose(FILE *fp);                                    /* 0 or EOF; NULL gives EOF */
int32_t ZX_OS_Fputs(const char *text, FILE *fp);                   /* non-negative on success, EOF (-1) on failure */
char *ZX_OS_Fgets(char *buf, int32_t size, FILE *fp);              /* NULL at end or on failure */

/* Copies the path ZX_OS_Open would use for path into out (at most outSize - 1 characters). */
uint32_t ZX_OS_ResolvePath(const char *path, char *out, uint32_t outSize);

/* ---------------------------------------------------------------------------------------------
 * select. The descriptor set holds descriptors 0 to ZX_FD_SETSIZE - 1, far more than the C
 * library's fd_set, and the macros refuse a descriptor outside that range instead of writing
 * past the set. Implemented with poll(), so large descriptor numbers cost nothing.
 * ------------------------------------------------------------------------------------------- */

#define ZX_FD_SETSIZE 65536
typedef struct {
    uint64_t bits[ZX_FD_SETSIZE / 64];
} ZX_FD_SET;

typedef struct {
    int64_t tv_sec;
    int64_t tv_usec;
} ZX_TIMEVAL;

void ZX_OS_FdZero(ZX_FD_SET *set);
/* 0, or -1 for a NULL set or a descriptor outside 0..ZX_FD_SETSIZE-1 (set left as it was). */
int32_t ZX_OS_FdSet(int32_t fd, ZX_FD_SET *set);
int32_t ZX_OS_FdIsSet(int32_t fd, const ZX_FD_SET *set); /* 1 or 0 */

/* Waits for the descriptors below maxFdPlus1 in the given sets. timeout NULL waits without limit.
 * Returns the number of ready descriptors (the sets then hold only those), 0 on time-out, -1 on
 * failure (errno set; EBADF for a closed descriptor, EINVAL for maxFdPlus1 out of range). */
int32_t ZX_OS_Select(int32_t maxFdPlus1, ZX_FD_SET *readSet, ZX_FD_SET *writeSet, ZX_FD_SET *exceptSet,
                     ZX_TIMEVAL *timeout);

/* ---------------------------------------------------------------------------------------------
 * Time.
 * ------------------------------------------------------------------------------------------- */

/* Broken-down local time, fields in the order of the C library's struct tm. */
typedef struct {
    int32_t iSec;
    int32_t iMin;
    int32_t iHour;
    int32_t iMday;
    int32_t iMon;  /* 0 to 11 */
    int32_t iYear; /* years since 1900 */
    int32_t iWday;
    int32_t iYday;
    int32_t iIsDst;
} ZX_OS_TM;

/* Current local time. ZX_ERR_PARAM for NULL, ZX_ERR_SYS when the clock cannot be read. */
uint32_t ZX_OS_GetLocalTime(ZX_OS_TM *tm);

/* ---------------------------------------------------------------------------------------------
 * Threads and mutexes.
 * ------------------------------------------------------------------------------------------- */

typedef unsigned long ZX_THREAD_ID;
typedef void *(*ZX_THREAD_FN)(void *arg);

/* Starts a detached thread running fn(arg). attr is reserved and must be NULL. The id is written
 * to *tid when tid is not NULL. ZX_ERR_PARAM for a NULL fn or a non-NULL attr, ZX_ERR_SYS when the
 * thread cannot be created. */
uint32_t ZX_OS_PthreadCreate(ZX_THREAD_ID *tid, const void *attr, ZX_THREAD_FN fn, void *arg);

/* Names the calling thread (at most 15 characters are kept, as the kernel allows). */
uint32_t ZX_OS_ModifyThreadName(const char *name);

/* A 24-byte process-private mutex; it needs no destruction and may live in static storage. */
typedef struct {
    uint32_t uiState;
    uint32_t auiResv[5];
} ZX_MUTEX;

uint32_t ZX_OS_MutexInit(ZX_MUTEX *m);   /* ZX_ERR_PARAM for NULL */
uint32_t ZX_OS_MutexLock(ZX_MUTEX *m);   /* ZX_ERR_PARAM for NULL */
uint32_t ZX_OS_MutexUnLock(ZX_MUTEX *m); /* ZX_ERR_PARAM for NULL */

/* ---------------------------------------------------------------------------------------------
 * System V shared memory (thin wrappers with the usual semantics).
 * ------------------------------------------------------------------------------------------- */

int32_t ZX_OS_ShmGet(uint32_t key, uint32_t size, int32_t flags); /* segment id or -1 */
void *ZX_OS_ShmAt(int32_t id, const void *addr, int32_t flags);   /* address or NULL */
int32_t ZX_OS_ShmDt(const void *addr);                            /* 0 or -1 */
int32_t ZX_OS_ShmCtl(int32_t id, int32_t cmd, void *buf);         /* cmd 0 removes; 0 or -1 */

/* ---------------------------------------------------------------------------------------------
 * System load, read from /proc (or from the directory named by ZX_PROC_DIR).
 * ------------------------------------------------------------------------------------------- */

/* Processor load in percent (0 to 100) over an interval of timeUnits x 1 ms between two readings
 * of <proc>/stat. A time of 0 compares with the reading of the previous call in this process.
 * ZX_ERR_PARAM for NULL, ZX_ERR_SYS when the file cannot be read or parsed. */
uint32_t ZX_OS_GetCPUBusyRateByTime(uint32_t timeUnits, uint32_t *percent);

/* Memory in use in percent: (MemTotal - MemAvailable) x 100 / MemTotal from <proc>/meminfo. */
uint32_t ZX_OS_GetMemUseRate(uint32_t *percent);

/* ---------------------------------------------------------------------------------------------
 * Addresses.
 * ------------------------------------------------------------------------------------------- */

/* IPv4 address and MAC of a gateway interface. The gateway name ("br0") is mapped to a host
 * interface by the "interfaces" table of the gateway profile (a name without an entry is used as
 * it is). *ip holds the address in network byte order (first octet in the lowest byte); mac may be
 * NULL. ZX_ERR_PARAM for NULL name or ip, ZX_ERR_NOT_FOUND when the interface has no IPv4
 * address. */
uint32_t ZX_OS_GetIfIpAndMac(const char *ifName, uint32_t *ip, uint8_t mac[6]);

/* Dotted text of an address given in host byte order (0x0A000001 -> "10.0.0.1"). */
uint32_t ZX_OS_IpAddrToStr(uint32_t hostOrderIp, char *out, uint32_t outSize);

/* 1 when text is a dotted IPv4 address ("a.b.c.d", each 0 to 255), else 0. */
uint32_t ZX_OS_IsValidIpAddress(const char *text);

/* ---------------------------------------------------------------------------------------------
 * Compression in a self-delimiting format: a 12-byte header ("ZXC1", original length, payload
 * length, little-endian) followed by an LZ4 block. The decompressor needs no input length.
 * ------------------------------------------------------------------------------------------- */

#define ZX_OS_COMPRESS_HEADER 12u

/* Compresses srcLen bytes. *dstLen gives the capacity of dst on entry and holds the compressed
 * size on success. ZX_ERR_PARAM for NULL arguments or srcLen 0, ZX_ERR_NOSPACE when the
 * compressed form does not fit (dst may have been written within its capacity). */
uint32_t ZX_OS_Compress(const void *src, uint32_t srcLen, void *dst, uint32_t *dstLen);

/* Decompresses one compressed unit into dst of dstCapacity bytes. ZX_ERR_PARAM for NULL
 * arguments, ZX_ERR_CORRUPT for a bad header or malformed data, ZX_ERR_NOSPACE when the original
 * is larger than dstCapacity (nothing beyond dstCapacity is written). When src lies in a block of
 * ZX_OS_MemMallocD / ZX_OS_MemMallocSet, the unit must lie within that block: one cut by the
 * block's end, or whose header claims more bytes than the block holds, is ZX_ERR_CORRUPT and
 * nothing beyond the block is read (the same holds for ZX_OS_DecompressedLen, which gives 0). */
uint32_t ZX_OS_Decompress(const void *src, void *dst, uint32_t dstCapacity);

/* Original length recorded in a compressed unit's header (0 when the header is not valid). */
uint32_t ZX_OS_DecompressedLen(const void *src);

/* ---------------------------------------------------------------------------------------------
 * Processes.
 * ------------------------------------------------------------------------------------------- */

/* *exists := 1 when a live process serves the bus endpoint procName, else 0.
 * ZX_ERR_PARAM for NULL arguments. */
uint32_t ZX_OS_IsProcExist_Ex(const char *procName, uint32_t *exists);

#ifdef __cplusplus
}
#endif

#endif
