/*
 * SelfCheckFiles: check whether installed files are still as the maker shipped them.
 *
 * The files are compared with the operating system's own set of check lists: the lists
 * /usr/zemo/selfcheck/wam.full.*.list, in the order that the file `listorder` in that directory
 * gives. Each list must have a GnuPG signature that verifies against the key ring in that
 * directory. Package lists are not consulted.
 *
 * Every call reads, verifies and parses the whole set, so check many paths with one call instead of
 * making many calls.
 *
 * Valid C11 and C++17.
 */
#ifndef ZEMO_SELFCHECK_SELF_CHECK_FILES_H
#define ZEMO_SELFCHECK_SELF_CHECK_FILES_H

#include <zemo/core.h>
#include <zemo/export.h>
#include <zemo/selfcheck/self_check_result.h>

#ifdef __cplusplus
extern "C" {
#endif

/*
 * Checks every path of `paths` against the operating system's own set and stores one result per
 * path, in order, in `results`.
 *
 * `paths` holds absolute paths, which are looked up byte for byte: they are not normalised, links
 * are not followed, and trailing slashes are not removed. Even if `paths` has no items, the set is
 * loaded and verified. `results` points to an array with at least as many elements as `paths` has
 * items. The caller keeps ownership of both.
 *
 * Returns 0 if every path was checked; the results report missing, changed and unlisted files.
 * Returns -1, with the reason in the system log and `results` unchanged, if an argument is NULL, if
 * the set has no lists or one of them does not verify or parse, or if the content of a listed file
 * cannot be read.
 *
 * If memory is exhausted, throws std::bad_alloc, which a C++ caller can catch and which terminates
 * a C program; if the system, libcrypto or GnuPG ran out of memory, returns -1 instead. One case
 * does neither: a list line that cannot be split for lack of memory is logged and becomes an entry
 * with an empty path. Throws nothing else.
 *
 * Threads: may be called from several threads at once, provided that no thread loads a package's
 * list set (ZEMO::SELF_CHECK::FileList) at the same time.
 */
ZEMO_EXPORT int SelfCheckFiles(VLIBSzList* paths, SELFCHECK_RESULT* results);

#ifdef __cplusplus
}
#endif

#endif
