#pragma once

#include <sys/stat.h>

// Device nodes that are one user's at a time, root's included.
//
// Whoever opens a node locks it (flock) until he closes it, and marks it for exclusive use
// (TIOCEXCL). Neither is enough: only those who lock see a lock, and the mark comes a step after
// the open and stops no root. Two kinds of line differ in what becomes of the mark:
// - A station's own pty, which has the sticky bit, is for one user, and another pty follows it. The
//   mark stays on it and keeps the next user away until the node leads to the other.
// - Any other line outlives its users, and so would the mark where somebody keeps a pty open. It is
//   taken off at the close. One that a killed user has left stops nobody who may open the node.
namespace simulated {

// As open(2), with EBUSY for a node that somebody else has and for a station's pty that has had its
// user. The caller closes it with closeAlone.
int openAlone(const char* node, int flags);

// Closes what openAlone has opened.
void closeAlone(int fd);

// Whether openAlone, which has just failed, may succeed in a moment, going by errno.
bool mayComeFree(const char* node);

bool isStationPty(const struct stat& status);
bool isSameFile(const struct stat& first, const struct stat& second);

}  // namespace simulated
