/*
 * ZEMO_EXPORT marks a declaration that a shared library exports to its callers. Declarations
 * without it stay hidden.
 *
 * Valid C11 and C++17.
 */
#ifndef ZEMO_EXPORT_H
#define ZEMO_EXPORT_H

#define ZEMO_EXPORT __attribute__((visibility("default")))

#endif
