// The lists of another root in the place where this machine's are.

#ifndef ZEMO_TOOLS_ROOT_LISTS_H
#define ZEMO_TOOLS_ROOT_LISTS_H

#include <string>

#include "root/tree.h"

namespace tool {

// From now on, this process and the programs that it runs find at /usr/zemo/selfcheck this
// machine's key ring and GnuPG options, and copies of the lists, manifests, signatures and orders
// that are in the directory `place` of `from`. Copies, so that a list that has been verified is the
// one that is read. They belong to the caller and have other permissions than the originals.
// isolateMounts() must have been called.
//
// A list that cannot be read, or for which there is no room, is reported on standard error, and its
// copy is an empty file, which never loads. A package whose order or directory cannot be read is
// reported, and has no lists. Throws Failure(STATUS_NOT_LOADED) if there is no key ring, or if
// `place` or the order in it cannot be read.
void putListsOf(const Tree& from, const std::string& place);

// Undoes the last putListsOf(). Throws Failure(STATUS_NOT_LOADED).
void takeListsAway();

}  // namespace tool

#endif
