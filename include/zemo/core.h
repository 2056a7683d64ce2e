/*
 * The core library (libzemocore.so.6): string lists, a per-thread error code, and running programs.
 *
 * A string list (VLIBSzList) holds NUL-terminated strings in the order in which they were added.
 * It is always used through a pointer that VLIBSzListAlloc returned; adding to it may move it, so
 * the functions that add take the address of that pointer.
 *
 * Errors: a function that fails says so by its result and sets this thread's last error code
 * (VLIBErrGet) to one of the VLIB_ERR_ values. A function that succeeds leaves the code alone.
 *
 * Threads: every function may be called from any thread. One string list must not be used by two
 * threads at once while one of them changes it.
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

/* A list of NUL-terminated strings. The two fields may be read; what follows them is private. */
typedef struct VLIBSzList {
  int32_t capacity; /* items that fit before the list has to grow */
  int32_t count;    /* items in the list */
} VLIBSzList;

/*
 * Makes an empty list with room for `items` items (0 or more; the list grows when it has to).
 * Returns the list, which must be freed by the caller using VLIBSzListFree(), or NULL when memory
 * is exhausted or `items` is negative.
 */
ZEMO_EXPORT VLIBSzList* VLIBSzListAlloc(int items);

/*
 * Returns item `index`, counted from 0, or NULL when there is no such item or `list` is NULL.
 * The text belongs to the list and is valid until the list is next changed or freed. Sets no error
 * code.
 */
ZEMO_EXPORT const char* VLIBSzListGet(const VLIBSzList* list, int index);

/*
 * Appends a copy of `item` to `*list`, which may move: the list's address is stored in `*list`.
 * `item` may point into the list itself. Returns the new item count, or a negative value when an
 * argument is NULL or memory is exhausted; the list is then unchanged.
 */
ZEMO_EXPORT int VLIBSzListPush(VLIBSzList** list, const char* item);

/* Frees `list` and its items. NULL is allowed. */
ZEMO_EXPORT void VLIBSzListFree(VLIBSzList* list);

/*
 * Splits `text` at every character that stands in `separators` and makes the pieces the items of
 * `*list`, which loses the items that it held and may move (its address is stored in `*list`).
 * Adjacent separators give an empty item, so a text with n separators always gives n + 1 items and
 * an empty text gives one. `text` is not modified and must not point into the list. Returns the
 * item count, or a negative value when an argument is NULL or memory is exhausted; the list is then
 * unchanged.
 */
ZEMO_EXPORT int VLIBStrTok(const char* text, const char* separators, VLIBSzList** list);

/* Returns this thread's last error code; VLIB_ERR_NONE (0) in a thread that has had no error. */
ZEMO_EXPORT int VLIBErrGet(void);

/* Sets this thread's last error code. Any value is allowed. */
ZEMO_EXPORT void VLIBErrSet(int code);

/*
 * Returns 1 when something exists at `path` (symbolic links are followed, so the target has to
 * exist), 0 when nothing does, when it cannot be looked at, or when `path` is NULL. Sets no error
 * code.
 */
ZEMO_EXPORT int VLIBFileExist(const char* path);

/* What VLIBExecl does beside running the program: any of these bits, ORed. */
enum {
  VLIB_EXEC_WAIT = 0x01,              /* return after the program has ended */
  VLIB_EXEC_STDIN_NULL = 0x02,        /* standard input is /dev/null */
  VLIB_EXEC_STDOUT_NULL = 0x08,       /* standard output is /dev/null */
  VLIB_EXEC_STDERR_NULL = 0x10,       /* standard error is /dev/null */
  VLIB_EXEC_CLEAN_ENVIRONMENT = 0x20, /* the environment is PATH (system directories), LC_ALL=C */
  VLIB_EXEC_ISOLATE = 0x80 /* no signal is blocked or ignored; no descriptor beyond 0-2 */
};

/*
 * Runs the executable at the path `program` (no search in PATH) with `program` and then the given
 * words as its argument vector. The words end with a null char pointer; each is passed as it is, no
 * shell looks at them. `options` are VLIB_EXEC_ bits.
 *
 * With VLIB_EXEC_WAIT, returns 0 only when the program ran and exited with status 0; without it,
 * returns 0 when the program was started. Any other outcome (a null program, unknown option bits,
 * exhausted memory or processes, a program that cannot be executed, another exit status, death by
 * a signal) gives a negative value.
 *
 * The program inherits working directory, umask and limits, and, without VLIB_EXEC_ISOLATE, signal
 * mask and ignored signals, but no handlers.
 *
 * The program is a grandchild of the caller. With VLIB_EXEC_WAIT the caller's SIGCHLD disposition
 * and wait calls have no part in it: the result is right even if the caller ignores SIGCHLD or
 * reaps every child itself, and the caller gets no SIGCHLD. A program that was not waited for is
 * reaped by init, or by the caller if the caller has taken on init's duty. The cost does not depend
 * on how much memory the caller uses.
 *
 * The calling thread takes signals, other than SIGKILL, only when the call returns; other threads
 * go on as usual, but for set*id() calls, which wait for it. A program that is stopped while it is
 * being waited for is continued, so that a stop from the terminal does not hold the caller for
 * ever. The call is no cancellation point.
 */
ZEMO_EXPORT int VLIBExecl(const char* program, int options, ...);

#ifdef __cplusplus
}
#endif

#endif
