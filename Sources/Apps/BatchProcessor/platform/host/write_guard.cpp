#include "platform/host/write_guard.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <new>
#include <optional>

#include "platform/host/change_mark.h"
#include "platform/host/errno_codes.h"

namespace platform::host {

namespace {

constexpr std::size_t page_size = 4096;
constexpr std::size_t most_descriptors = 3;

enum class work : std::uint8_t { write_in_place, exchange_blocks, rewrite_from_journal };

}  // namespace

// What is to be done. Laid out before the helper is forked, so that both see it at the same address and the views in
// it hold in both. The messages over the socket order the accesses: this process writes before it sends, the helper
// before it answers.
struct write_guard::shared_order {
  work kind = work::write_in_place;
  int outcome = 0;  // errno
  in_place_writes writes;
  std::array<byte_run, most_runs> runs;
  block_exchange exchange;
  journaled_rewrite rewrite;
  std::array<char, NAME_MAX + 1> journal_name;
  std::array<char, 2 * most_bytes> bytes;  // old and new ones, or the buffer of a copy

  [[nodiscard]] int perform(std::span<const int> descriptors) noexcept {
    // Fewer than were sent arrive where this process may have no more open.
    if (descriptors.size() < (kind == work::rewrite_from_journal ? most_descriptors : 1)) return EMFILE;
    if (kind == work::write_in_place) return write_in_place(descriptors[0], writes);
    if (kind == work::exchange_blocks) return exchange_blocks(descriptors[0], exchange);
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

bool is_within_one_page(const in_place_writes& change) {
  return change.room.content.empty() && change.runs.size() == 1 &&
         write_guard::within_one_page(change.runs[0].offset, change.runs[0].new_bytes.size());
}

// 0 or an errno.
int put_mark(int file, const std::optional<std::string>& mark) {
  if (!mark) return E2BIG;
  const int result = ::fsetxattr(file, rewrite_mark, mark->data(), mark->size(), 0);
  return result == 0 ? 0 : errno;
}

}  // namespace

write_guard& write_guard::instance() {
  static write_guard guard;
  return guard;
}

bool write_guard::fits(const in_place_writes& change) {
  std::uint64_t size = change.room.content.size();
  for (const byte_run& run : change.runs) {
    size += run.new_bytes.size();
  }
  return change.runs.size() <= most_runs && size <= most_bytes;
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

win32_error write_guard::write(int file, const in_place_writes& change, marking mark) {
  if (change.room.content.empty() && change.runs.empty()) return win32_error::success;
  if (is_within_one_page(change)) return error_from_errno(write_in_place(file, change));
  if (!fits(change)) return win32_error::invalid_parameter;

  const std::lock_guard lock(mutex_);
  if (const int failure = start(); failure != 0) return error_from_errno(failure);
  char* place = order_->bytes.data();
  const auto keep = [&place](std::string_view bytes) {
    const std::string_view kept(place, bytes.size());
    place = std::copy(bytes.begin(), bytes.end(), place);
    return kept;
  };
  std::transform(change.runs.begin(), change.runs.end(), order_->runs.begin(), [&keep](const byte_run& run) {
    return byte_run{run.offset, keep(run.old_bytes), keep(run.new_bytes)};
  });
  order_->writes.room = {change.room.offset, change.room.file_size, keep(change.room.content)};
  order_->writes.runs = std::span(order_->runs).first(change.runs.size());
  order_->kind = work::write_in_place;
  const int unmarked = put_mark(file, change_mark_of(change));
  if (unmarked != 0 && mark == marking::needed) return error_from_errno(unmarked);
  return error_from_errno(have_performed(std::array{file}));
}

win32_error write_guard::exchange(int file, const block_exchange& change) {
  if (std::max<std::uint64_t>(change.room, change.old_content.size()) > largest_exchange ||
      change.new_content.size() > change.room) {
    return win32_error::invalid_parameter;
  }
  const std::lock_guard lock(mutex_);
  if (const int failure = start(); failure != 0) return error_from_errno(failure);
  char* place = std::copy(change.old_content.begin(), change.old_content.end(), order_->bytes.data());
  std::copy(change.new_content.begin(), change.new_content.end(), place);
  order_->exchange = change;
  order_->exchange.old_content = {order_->bytes.data(), change.old_content.size()};
  order_->exchange.new_content = {place, change.new_content.size()};
  order_->kind = work::exchange_blocks;
  if (const int failure = put_mark(file, change_mark_of(change)); failure != 0) return error_from_errno(failure);
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
