#include "platform/host/write_guard.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <new>

#include "platform/host/errno_codes.h"

namespace platform::host {

namespace {

constexpr std::size_t page_size = 4096;
constexpr std::size_t most_descriptors = 3;

enum class work : std::uint8_t { write_runs, grow, rewrite_from_journal };

}  // namespace

// What is to be done. Laid out before the helper is forked, so that both see it at the same address and the views in
// it hold in both. The messages over the socket order the accesses: this process writes before it sends, the helper
// before it answers.
struct write_guard::shared_order {
  work kind = work::write_runs;
  int outcome = 0;  // errno
  std::size_t run_count = 0;
  std::array<byte_run, most_runs> runs;
  growth room;
  journaled_rewrite rewrite;
  std::array<char, NAME_MAX + 1> journal_name;
  std::array<char, 2 * most_bytes> bytes;  // of the runs, or the buffer of a copy

  [[nodiscard]] int perform(std::span<const int> descriptors) noexcept {
    // Fewer than were sent arrive where this process may have no more open.
    if (descriptors.size() < (kind == work::rewrite_from_journal ? most_descriptors : 1)) return EMFILE;
    if (kind == work::write_runs) return write_runs(descriptors[0], std::span(runs).first(run_count));
    if (kind == work::grow) return host::grow(descriptors[0], room);
    journaled_rewrite here = rewrite;
    here.file = descriptors[0];
    here.journal = descriptors[1];
    here.folder = descriptors[2];
    here.journal_name = journal_name.data();
    return rewrite_from_journal(here, bytes);
  }
};

namespace {

union control_buffer {
  cmsghdr alignment;
  char bytes[CMSG_SPACE(most_descriptors * sizeof(int))];
};

bool send_descriptors(int socket, std::span<const int> descriptors) {
  char word = 0;
  iovec content{&word, sizeof word};
  control_buffer control{};
  msghdr message{};
  message.msg_iov = &content;
  message.msg_iovlen = 1;
  message.msg_control = control.bytes;
  message.msg_controllen = CMSG_SPACE(descriptors.size_bytes());
  cmsghdr* header = CMSG_FIRSTHDR(&message);
  header->cmsg_level = SOL_SOCKET;
  header->cmsg_type = SCM_RIGHTS;
  header->cmsg_len = CMSG_LEN(descriptors.size_bytes());
  std::memcpy(CMSG_DATA(header), descriptors.data(), descriptors.size_bytes());
  ssize_t sent = 0;
  do {
    sent = ::sendmsg(socket, &message, MSG_NOSIGNAL);
  } while (sent < 0 && errno == EINTR);
  return sent == 1;
}

// From here to serve(): what runs in the helper, with calls that are safe after a fork only.

struct received {
  std::array<int, most_descriptors> descriptors;
  std::size_t count = 0;
};

// False at the end of the socket.
bool receive_descriptors(int socket, received& out) noexcept {
  char word = 0;
  iovec content{&word, sizeof word};
  control_buffer control{};
  msghdr message{};
  message.msg_iov = &content;
  message.msg_iovlen = 1;
  message.msg_control = control.bytes;
  message.msg_controllen = sizeof control.bytes;
  ssize_t got = 0;
  do {
    got = ::recvmsg(socket, &message, MSG_CMSG_CLOEXEC);
  } while (got < 0 && errno == EINTR);
  if (got <= 0) return false;
  out.count = 0;
  const cmsghdr* header = CMSG_FIRSTHDR(&message);
  if (header == nullptr || header->cmsg_type != SCM_RIGHTS) return true;
  const std::size_t size = std::min(header->cmsg_len - CMSG_LEN(0), sizeof out.descriptors);
  std::memcpy(out.descriptors.data(), CMSG_DATA(header), size);
  out.count = size / sizeof(int);
  return true;
}

void close_all_but(int kept) noexcept {
  for (unsigned first = 0; const int keep : {std::min(kept, STDERR_FILENO), std::max(kept, STDERR_FILENO)}) {
    const unsigned end = static_cast<unsigned>(keep);
    // Kernels without the call keep the descriptors open a little longer than they need be: no harm but to pipes.
    if (end > first) static_cast<void>(::close_range(first, end - 1, 0));
    first = end + 1;
  }
  static_cast<void>(::close_range(static_cast<unsigned>(std::max(kept, STDERR_FILENO)) + 1, UINT_MAX, 0));
}

// What is meant for the program's group (Ctrl-C, a hang-up, the end of the login) doesn't end the helper: the end of
// the socket does.
void settle_signals() noexcept {
  constexpr std::array ignored{SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGPIPE, SIGXFSZ, SIGTSTP, SIGTTOU, SIGTTIN};
  for (int number = 1; number < NSIG; ++number) {
    const bool ignore = std::find(ignored.begin(), ignored.end(), number) != ignored.end();
    // Refused for SIGKILL, SIGSTOP and those that the C library keeps for itself.
    static_cast<void>(::signal(number, ignore ? SIG_IGN : SIG_DFL));
  }
  sigset_t none;
  sigemptyset(&none);
  static_cast<void>(::sigprocmask(SIG_SETMASK, &none, nullptr));
}

template <class Order>
[[noreturn]] void serve(int socket, Order& order) noexcept {
  // None of these can fail in a child just forked, and the work doesn't depend on them.
  static_cast<void>(::setsid());
  static_cast<void>(::prctl(PR_SET_NAME, "qb_write_guard"));
  static_cast<void>(::chdir("/"));
  settle_signals();
  close_all_but(socket);
  received given;
  while (receive_descriptors(socket, given)) {
    order.outcome = order.perform(std::span(given.descriptors).first(given.count));
    for (const int descriptor : std::span(given.descriptors).first(given.count)) {
      ::close(descriptor);
    }
    const char word = 0;
    // Who gets no answer is gone, or makes the change again once this helper is.
    if (::send(socket, &word, sizeof word, MSG_NOSIGNAL) < 0) break;
  }
  ::_exit(0);
}

// A fork with all signals blocked, so that no handler of this process runs in the child.
pid_t fork_quietly(sigset_t& before) {
  sigset_t all;
  sigfillset(&all);
  ::pthread_sigmask(SIG_BLOCK, &all, &before);
  return ::fork();
}

}  // namespace

write_guard& write_guard::instance() {
  static write_guard guard;
  return guard;
}

bool write_guard::fits(std::span<const byte_run> runs) {
  std::uint64_t size = 0;
  for (const byte_run& run : runs) {
    size += run.new_bytes.size();
  }
  return runs.size() <= most_runs && size <= most_bytes;
}

bool write_guard::within_one_page(std::uint64_t offset, std::uint64_t size) {
  return offset / page_size == (offset + size - 1) / page_size;
}

write_guard::~write_guard() {
  reap();
  // Failing would leave the memory to the end of the process.
  if (order_ != nullptr) static_cast<void>(::munmap(order_, sizeof *order_));
}

void write_guard::reap() {
  socket_ = unique_descriptor();
  if (helper_ == 0) return;
  // A fork of the owner is not the helper's parent. ECHILD: the program has its children reaped by the system.
  while (owner_ == ::getpid() && ::waitpid(helper_, nullptr, 0) < 0 && errno == EINTR) {
  }
  helper_ = 0;
}

int write_guard::start() {
  if (helper_ != 0 && owner_ == ::getpid()) return 0;
  reap();
  if (order_ != nullptr && owner_ != ::getpid()) {
    // The memory is shared with the process that this one was forked off.
    static_cast<void>(::munmap(order_, sizeof *order_));
    order_ = nullptr;
  }
  if (order_ == nullptr) {
    void* memory = ::mmap(nullptr, sizeof *order_, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) return errno;
    order_ = new (memory) shared_order;
  }
  owner_ = ::getpid();
  std::array<int, 2> ends{};
  if (::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()) != 0) return errno;
  unique_descriptor ours(ends[0]);
  const unique_descriptor theirs(ends[1]);
  sigset_t before;
  const pid_t child = fork_quietly(before);
  if (child == 0) serve(theirs.get(), *order_);
  const int failure = child < 0 ? errno : 0;
  ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
  if (failure != 0) return failure;
  helper_ = child;
  socket_ = std::move(ours);
  return 0;
}

bool write_guard::ask_helper(std::span<const int> descriptors) {
  if (!send_descriptors(socket_.get(), descriptors)) return false;
  char word = 0;
  ssize_t got = 0;
  do {
    got = ::recv(socket_.get(), &word, sizeof word, 0);
  } while (got < 0 && errno == EINTR);
  return got == 1;
}

int write_guard::have_performed(std::span<const int> descriptors) {
  if (ask_helper(descriptors)) return order_->outcome;
  // Killed, perhaps in the middle. Once it is gone for certain, the whole change again from here.
  reap();
  return order_->perform(descriptors);
}

win32_error write_guard::write(int file, std::span<const byte_run> runs) {
  if (runs.empty()) return win32_error::success;
  if (runs.size() == 1 && within_one_page(runs[0].offset, runs[0].new_bytes.size())) {
    return error_from_errno(write_runs(file, runs));
  }
  if (!fits(runs)) return win32_error::invalid_parameter;

  const std::lock_guard lock(mutex_);
  if (const int failure = start(); failure != 0) return error_from_errno(failure);
  char* place = order_->bytes.data();
  const auto keep = [&place](std::string_view bytes) {
    const std::string_view kept(place, bytes.size());
    place = std::copy(bytes.begin(), bytes.end(), place);
    return kept;
  };
  std::transform(runs.begin(), runs.end(), order_->runs.begin(), [&keep](const byte_run& run) {
    return byte_run{run.offset, keep(run.old_bytes), keep(run.new_bytes)};
  });
  order_->run_count = runs.size();
  order_->kind = work::write_runs;
  return error_from_errno(have_performed(std::array{file}));
}

win32_error write_guard::grow(int file, const growth& change) {
  if (change.new_bytes.size() > most_bytes) return win32_error::invalid_parameter;
  const std::lock_guard lock(mutex_);
  if (const int failure = start(); failure != 0) return error_from_errno(failure);
  char* place = std::copy(change.old_bytes.begin(), change.old_bytes.end(), order_->bytes.data());
  std::copy(change.new_bytes.begin(), change.new_bytes.end(), place);
  order_->room = change;
  order_->room.old_bytes = {order_->bytes.data(), change.old_bytes.size()};
  order_->room.new_bytes = {place, change.new_bytes.size()};
  order_->kind = work::grow;
  return error_from_errno(have_performed(std::array{file}));
}

win32_error write_guard::prepare() {
  const std::lock_guard lock(mutex_);
  return error_from_errno(start());
}

win32_error write_guard::rewrite(const journaled_rewrite& rewrite) {
  const std::string_view name = rewrite.journal_name;
  if (name.size() > NAME_MAX) return win32_error::invalid_parameter;
  const std::lock_guard lock(mutex_);
  // Without a helper it is made from here: a kill in the middle leaves it to the journal.
  if (const int failure = start(); order_ == nullptr) return error_from_errno(failure);
  order_->rewrite = rewrite;
  *std::copy(name.begin(), name.end(), order_->journal_name.begin()) = '\0';
  order_->kind = work::rewrite_from_journal;
  return error_from_errno(have_performed(std::array{rewrite.file, rewrite.journal, rewrite.folder}));
}

}  // namespace platform::host
