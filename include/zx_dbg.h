/*
 * Traces and last words.
 *
 * A trace is a record of (level, source file, line, flag, text); a last word is a record of
 * (source file, line, code, four data words) written when something failed.
 *
 * Host behaviour (Linux build): records go to the sink named by ZX_TRACE: unset or "off" drops
 * them, "stderr" writes them to standard error, any other value is a file they are appended to.
 * Each record is one line, tab-separated, with the text escaped (\\ \r \n \t and \xHH for other
 * control bytes):
 *     T <level> <file> <line> <flag> <text>
 *     L <file> <line> <code, 8 hex digits> <a> <b> <c> <d>      (data words in 8 hex digits)
 *     L1 <file> <line> <code, 8 hex digits>
 * A NULL file is written as "-". Tests can also capture records in-process (platform/host/zx_host.h).
 *
 * Flag ZX_DBG_FLAG_FINISHED_TEXT (3) marks a line that is finished text (a line a Java plug-in
 * wrote whole): the host records fmt as it stands, conversion specifications ("%s", "%n", ...)
 * included, and reads no arguments. Any other flag formats fmt like printf.
 */
#ifndef ZX_DBG_H
#define ZX_DBG_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#define ZX_DBG_FLAG_FINISHED_TEXT 3u

/* Formats fmt like printf and records the text (with ZX_DBG_FLAG_FINISHED_TEXT: fmt itself, no
 * arguments read). file may be NULL. */
void ZX_PROC_DBG_TraceS(uint32_t level, const char *file, uint32_t line, uint32_t flag, const char *fmt, ...)
    __attribute__((format(printf, 5, 6)));

/* Last word with a code and four data words. */
void ZX_PROC_DBG_LastWord(const char *file, uint32_t line, uint32_t code, uint32_t a, uint32_t b, uint32_t c,
                          uint32_t d);

/* Last word with a code only. */
void ZX_PROC_DBG_LastWord_1(const char *file, uint32_t line, uint32_t code);

#ifdef __cplusplus
}
#endif

#endif
