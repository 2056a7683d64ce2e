/*
 * SELFCHECK_RESULT: the result of checking one named path.
 *
 * Valid C11 and C++17.
 */
#ifndef ZEMO_SELFCHECK_SELF_CHECK_RESULT_H
#define ZEMO_SELFCHECK_SELF_CHECK_RESULT_H

#include <stdint.h>

/*
 * One 32-bit word of flags, bit 0 first. All zero means that the path is listed and no mismatch was
 * found. Stray members of a directory with fixed members set no flag on the directory: pass the
 * stray member's own path to get 0x180, or check the whole set.
 */
typedef struct SELFCHECK_RESULT {
  uint32_t sizeError : 1;       /* 0x001: the size differs */
  uint32_t ownerError : 1;      /* 0x002: the numeric owner id differs */
  uint32_t groupError : 1;      /* 0x004: the numeric group id differs */
  uint32_t typeError : 1;       /* 0x008: it is another type of file */
  uint32_t permissionError : 1; /* 0x010: the permission, set-id or sticky bits differ */
  uint32_t hashError : 1;       /* 0x020: content, link target or device numbers differ */
  uint32_t notExist : 1;        /* 0x040: it is missing or cannot be examined */
  uint32_t notListed : 1;       /* 0x080: no list names this path */
  uint32_t inFixedDir : 1;      /* 0x100: not listed, in a directory with fixed members */
  uint32_t reserved : 23;       /* always zero */
} SELFCHECK_RESULT;

#endif
