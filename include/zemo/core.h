/*
 * The core library (libzemocore.so.6): string lists, a per-thread error code, and running programs.
 *
 * A string list (VLIBSzList) holds NUL-terminated strings in the order in which they were added.
 * Callers use it only through a pointer from VLIBSzListAlloc(). Adding to a list may move it, so
 * the functions that add take the address of that pointer and update it.
 *
 * Errors: a function that fails reports this by its result and sets this thread's last error code
 * (VLIBErrGet()) to one of the VLIB_ERR_ values. A function that succeeds does not change the code.
 *
 * Threads: every function may be called from any thread. While one thread changes a string list, no
 * other thread may use that list.
 *
 * Valid C11 and C++17.
 */
#ifndef ZEMO_CORE_H
#define ZEMO_CORE_H

#include <stdint.h>
#include <zemo/export.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Error codes that the core library sets. */
enum {
  VLIB_ERR_NONE = 0,
  VLIB_ERR_OUT_OF_MEMORY = 0x0200, /* memory or processes are exhausted */
  VLIB_ERR_BAD_PARAMETER = 0x0D00, /* an argument was null, negative or not understood */
  VLIB_ERR_PROGRAM_FAILED = 0x2200 /* the program could not be run or did not exit with status 0 */
};

/*
 * A list of NUL-terminated strings. Callers may read these two fields; everything after them is
 * private.
 */
typedef struct VLIBSzList {
  int32_t capacity; /* items that there was to be room for, at least `count` */
  int32_t count;    /* items in the list */
} VLIBSzList;

/*
 * Makes an empty list with room for `items` items. `items` may be 0; the list grows as needed.
 * Returns the list, which the caller must free with VLIBSzListFree(), or NULL if memory is
 * exhausted or `items` is negative.
 */
ZEMO_EXPORT VLIBSzList* VLIBSzListAlloc(int items);

/*
 * Returns item `index`, counted from 0, or NULL if there is no such item or `list` is NULL. The
 * list owns the text, which stays valid until the list is next changed or freed. Sets no error
 * code.
 */
ZEMO_EXPORT const char* VLIBSzListGet(const VLIBSzList* list, int index);

/*
 * Appends a copy of `item` to `*list`. The list may move; `*list` then holds its new address.
 * `item` may point into the list itself. Returns the new item count, or a negative value if an
 * argument is NULL or memory is exhausted; the list is then unchanged.
 */
ZEMO_EXPORT int VLIBSzListPush(VLIBSzList** list, const char* item);

/* Frees `list` and its items. NULL is allowed. */
ZEMO_EXPORT void VLIBSzListFree(VLIBSzList* list);

/*
 * Splits `text` at every character that occurs in `separators` and makes the pieces the items of
 * `*list`. The previous items are removed. The list may move; `*list` then holds its new address.
 * Adjacent separators give an empty item, so a text with n separators always gives n + 1 items and
 * an empty text gives one. `text` is not modified and must not point into the list. Returns the
 * item count, or a negative value if an argument is NULL or memory is exhausted; the list is then
 * unchanged.
 */
ZEMO_EXPORT int VLIBStrTok(const char* text, const char* separators, VLIBSzList** list);

/* Returns this thread's last error code; VLIB_ERR_NONE (0) if the thread has had no error. */
ZEMO_EXPORT int VLIBErrGet(void);

/* Sets this thread's last error code. Any value is allowed. */
ZEMO_EXPORT void VLIBErrSet(int code);

/*
 * Returns 1 if something exists at `path`. Symbolic links are followed, so the target has to exist.
 * Returns 0 if nothing exists there, if it cannot be examined, or if `path` is NULL. Sets no error
 * code.
 */
ZEMO_EXPORT int VLIBFileExist(const char* path);

/* Options of VLIBExecl(): any of these bits, ORed. */
enum {
  VLIB_EXEC_WAIT = 0x01,              /* return after the program has ended */
  VLIB_EXEC_STDIN_NULL = 0x02,        /* standard input is /dev/null */
  VLIB_EXEC_STDOUT_NULL = 0x08,       /* standard output is /dev/null */
  VLIB_EXEC_STDERR_NULL = 0x10,       /* standard error is /dev/null */
  VLIB_EXEC_CLEAN_ENVIRONMENT = 0x20, /* environment: only PATH (system directories), LC_ALL=C */
  VLIB_EXEC_ISOLATE = 0x80            /* no signal blocked or ignored; only descriptors 0-2 */
};

/*
 * Runs the executable at the path `program`, without searching PATH. Its argument vector is
 * `program` followed by the given words. The words end with a null char pointer. Each is passed
 * unchanged; no shell interprets them. `options` are VLIB_EXEC_ bits.
 *
 * With VLIB_EXEC_WAIT, returns 0 only if the program ran and exited with status 0. Without it,
 * returns 0 if the program was started. Any other outcome gives a negative value: a null program,
 * unknown option bits, exhausted memory or processes, a program that cannot be executed, another
 * exit status, or death by a signal.
 *
 * The program inherits the working directory, umask and resource limits. Without VLIB_EXEC_ISOLATE,
 * it also inherits the signal mask and the ignored signals. It never inherits signal handlers.
 *
 * The program is a grandchild of the caller. With VLIB_EXEC_WAIT, the caller's SIGCHLD disposition
 * and wait calls do not matter: the result is correct even if the caller ignores SIGCHLD or reaps
 * every child itself, and the caller gets no SIGCHLD. Without VLIB_EXEC_WAIT, the program is reaped
 * by init, or by the caller if the caller is a child subreaper. The cost does not depend on how
 * much memory the caller uses.
 *
 * Signals other than SIGKILL are delivered to the calling thread only when the call returns. Other
 * threads continue to run, except that their set*id() calls wait for this call. If the program is
 * stopped while the caller waits for it, it is continued, so that a stop from the terminal cannot
 * block the caller forever. The call is not a cancellation point.
 */
ZEMO_EXPORT int VLIBExecl(const char* program, int options, ...);

#ifdef __cplusplus
}
#endif

#endif
