#pragma once

#include <functional>
#include <string>

// Copies and moves of whole items (files, links, folder trees) that lose
// nothing, shared by the program and its privileged helper.
//
// A rename within one file system is atomic. Across file systems a move
// copies the item to a temporary name in the destination folder (contents,
// modes, owner where permitted, user.* extended attributes, inner links as
// links), flushes it, writes a journal beside it, renames the copy into place
// without replacing, and only then renames the source aside to a hidden
// temporary name in its own folder, removes it from there and drops the
// journal. When that removal fails part-way, the source is rebuilt at its
// place from the copy and the copy withdrawn, so the move happens whole or
// not at all:
//
//   <destination folder>/.vtmove.<16 hex digits>           the copy in progress
//   <destination folder>/.vtmove.<16 hex digits>.journal   "VTMOVE1\n", the source's
//                                                         absolute path, NUL, the
//                                                         destination name, NUL
//
// An interrupted move therefore leaves a temporary copy without a journal (the
// source is whole), a complete copy with its journal (the source is whole),
// a journal whose copy already carries the destination name beside the whole
// source, or a hidden source set aside (anything under the temporary prefix
// without a journal is never the only copy). cleanUpFolder() resolves each
// on the next run.

namespace VTTreeCopy {

inline constexpr const char TemporaryPrefix[] = ".vtmove.";
inline constexpr const char JournalSuffix[] = ".journal";

// True for names this module uses for copies in progress and their journals.
[[nodiscard]] bool isTemporaryName(const std::string &name);

// Copies `from` in `fromDir` to `to` in `toDir`, which must not exist. Never
// follows a link; files and folders are flushed to disk. The copy keeps the
// source's owners, or with `forAllUsers` belongs to root and is writable by
// root only.
[[nodiscard]] int copyTree(int fromDir, const std::string &from, int toDir, const std::string &to, bool forAllUsers = false);

// Copies into place through a temporary name, so no half-made item ever
// carries the destination name. `replace` lets a copy replace an existing
// file (never a folder).
[[nodiscard]] int copyItem(int fromDir, const std::string &from, int toDir, const std::string &to, bool replace,
                           bool forAllUsers = false);

// Moves an item: a rename, or across file systems the journaled copy, rename
// and removal described above. `sourcePath` is the source's absolute path, for
// the journal. `replace` lets the move replace an existing file;
// `forAllUsers` as for copyTree, also for a renamed item.
[[nodiscard]] int moveItem(int fromDir, const std::string &from, int toDir, const std::string &to, bool replace,
                           const std::string &sourcePath, bool forAllUsers = false);

// Resolves what interrupted moves left in the open folder `dirFd`: removes
// temporary copies, and removes what is left of a source whose move reached
// its destination, but only where every item left is also in the
// destination with the same contents; anything else is kept.
// A journal is trusted only when it and the folder belong to this process's
// user or to root (to root alone for the superuser) and nobody else may
// write the folder, and only when `mayRemoveSource` accepts its recorded
// source for its destination name; the recorded source is resolved without
// links. Another's journal is left alone. Returns the number of leftovers
// resolved.
using SourceCheck = std::function<bool(const std::string &sourcePath, const std::string &destinationName)>;
int cleanUpFolder(int dirFd, const SourceCheck &mayRemoveSource);

// True when two items have the same names, types, link targets and contents
// all the way down.
[[nodiscard]] bool sameTree(int aDir, const std::string &a, int bDir, const std::string &b);
// True when everything in item `a` is also in item `b`, the same.
[[nodiscard]] bool containedIn(int aDir, const std::string &a, int bDir, const std::string &b);

} // namespace VTTreeCopy
