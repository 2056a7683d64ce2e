/*
 * ZEMO_EXPORT marks a declaration that a shared library offers to its callers; everything that is
 * not marked stays hidden.
 *
 * Valid C11 and C++17.
 */
#ifndef ZEMO_EXPORT_H
#define ZEMO_EXPORT_H

#define ZEMO_EXPORT __attribute__((visibility("default")))

#endif
