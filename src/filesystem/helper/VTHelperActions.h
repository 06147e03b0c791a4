#pragma once

#include <string>
#include <vector>

#include <sys/types.h>

// The privileged helper's whole repertoire: the allow-listed tools mv, cp, rm,
// mkdir, chown, chmod and touch, performed in-process with symlink-safe calls
// instead of executing anything. A request is the argument vector the tool
// would get, starting with the tool's absolute path (/bin/mv, /usr/sbin/chown,
// ... in any of /bin, /usr/bin, /sbin, /usr/sbin). Options come first and
// only those listed below; every operand must be a clean absolute path, so
// no path can ever be read as an option.
//
//   mv [-fn] SOURCE DEST           rename, or the journaled copy across file
//                                  systems; DEST names the item itself: a
//                                  folder there is EEXIST, a file DEST is
//                                  replaced (never with -n)
//   cp [-fpRr] SOURCE DEST         copy (modes, owners, times, user.* xattrs)
//                                  into place through a temporary name
//   rm [-Rrdf] PATH...             remove without following links
//   mkdir [-p] PATH...             folders of mode 0755
//   chown [-R] USER[:GROUP] PATH   recursive: a walk over open folders
//   chmod [-R] MODE PATH           skipping links; see VTSafeFs::chmodAt
//   touch [-c] PATH...
//
// Every path is resolved from "/" with no symbolic link allowed on the way.
// The immutable attribute is cleared only on what mv moves or replaces and
// on what rm removes, where the program unlocks too.
namespace VTHelperActions {

// mv and cp into a folder that is not the requester's own (a root-owned host
// folder, another user's home) refuse, with EPERM, anything another user
// could have planted or changed: a source whose folder belongs to someone
// other than root and the requester or is writable by others (without the
// sticky bit), or a tree holding an item owned by someone else or writable
// by group or others.
//
// rm -R, chown -R and chmod -R act only below a folder of a Library
// (Library/<folder>/<item>) or inside a Trash's files folder, where that
// Library or Trash lies in a folder owned by root or the requester and not
// writable by group or others; elsewhere they refuse with EPERM.
//
// 0 on success, an errno value otherwise (EPERM for a tool that is not
// allowed, EINVAL for options or operands that are not). `requester` is the
// uid of the user who asked for administrator rights.
[[nodiscard]] int run(const std::vector<std::string> &arguments, uid_t requester);

} // namespace VTHelperActions
