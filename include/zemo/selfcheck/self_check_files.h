/*
 * SelfCheckFiles: are these installed files still what the maker shipped?
 *
 * The files are compared with the operating system's own check-list set: the lists
 * /usr/zemo/selfcheck/wam.full.*.list, in the order of the file `listorder` in that directory,
 * each with a GnuPG signature that verifies against the key ring in that directory. Lists of
 * packages are not consulted.
 *
 * Every call reads, verifies and parses the whole set, so check many paths with one call rather
 * than with many.
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
 * Checks every path of `paths` against the operating system's own list set and stores one result
 * per path, in order, in `results`.
 *
 * `paths` holds absolute paths, which are looked up byte for byte: no normalisation, no links
 * followed, no trailing slash removed. A list without items still loads and verifies the set.
 * `results` points to an array of at least as many elements as `paths` has items; both stay the
 * caller's.
 *
 * Returns 0 when every path was checked; missing, changed and unlisted files are reported in the
 * results. Returns -1, with the reason in the system log and `results` untouched, when an argument
 * is NULL, when the set has no lists or one of them does not verify or parse, or when the content
 * of a listed file cannot be read. When memory is exhausted it throws std::bad_alloc, which a C++
 * caller can catch and which ends a C program, or returns -1 where the system, libcrypto or GnuPG
 * were the ones to find none; it throws nothing else. One case is neither, only logged: a line of a
 * list for which there is no memory to split it is left out of the set.
 *
 * Threads: may be called from several threads at once, as long as no thread loads a package's list
 * set (ZEMO::SELF_CHECK::FileList) at the same time.
 */
ZEMO_EXPORT int SelfCheckFiles(VLIBSzList* paths, SELFCHECK_RESULT* results);

#ifdef __cplusplus
}
#endif

#endif
