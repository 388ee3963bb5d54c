// The look at who has a file open is a lease: the kernel grants one for writing only to the file's sole user, and one
// for reading only while nobody has the file open for writing. A lease is given back at once.
#include "platform/host/file_lock.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/file.h>
#include <sys/vfs.h>

#include <cerrno>
#include <csignal>

#include "platform/host/system_calls.h"

namespace platform::host {

namespace {

// A network share refuses leases also when nobody else has the file.
bool is_network_share(int file) {
  struct statfs facts {};
  if (::fstatfs(file, &facts) != 0) return true;
  return facts.f_type == NFS_SUPER_MAGIC || facts.f_type == CIFS_SUPER_MAGIC || facts.f_type == SMB2_SUPER_MAGIC;
}

// Whoever opens the file in the moment of the lease makes the system send SIGIO, whose default is the process's end.
void ignore_lease_signals() {
  // Can't fail for this signal.
  static const auto before = std::signal(SIGIO, SIG_IGN);
  static_cast<void>(before);
}

bool is_refused(int file, int lease) {
  ignore_lease_signals();
  if (::fcntl(file, F_SETLEASE, lease) != 0) return errno == EAGAIN && !is_network_share(file);
  // A lease that stays would end with the descriptor.
  static_cast<void>(::fcntl(file, F_SETLEASE, F_UNLCK));
  return false;
}

}  // namespace

win32_error lock_alone(int file) {
  if (retried([file] { return ::flock(file, LOCK_EX | LOCK_NB); }) == 0) return win32_error::success;
  return errno == EWOULDBLOCK ? win32_error::sharing_violation : win32_error::success;
}

bool may_be_written_by_others(int file) { return is_refused(file, F_WRLCK); }

bool is_open_for_writing(int file) { return is_refused(file, F_RDLCK); }

}  // namespace platform::host
