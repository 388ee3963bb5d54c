// A machine whose calls fail on demand, stacked on any other machine.
//
// Only calls that can report a failure are counted, in the order in which they are made: those of files, profile
// strings, processes and the clock that answer with a Win32 code, and those of the property system, imaging, the shell
// and processes that answer with an HRESULT. The names are those of simulated_machine.h; what comes out of a call
// (files, stores, encoders) is wrapped too. Each entry of an enumeration is a call `next_entry`; when it fails, nothing
// more is visited. A call that is made to fail never reaches the machine below, but for `close`, which closes first.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <variant>

#include "platform/machine.h"

namespace support {

/// A write that takes half of its bytes and reports so, as on a disk that fills up. Only writes are counted for it.
struct short_write {};

/// What a failing call answers. It decides which calls are counted: those that can answer so.
using fault_code = std::variant<platform::win32_error, platform::hresult, short_write>;

enum class fault_lasting : std::uint8_t { once, from_then_on };

struct fault {
  fault_code code;
  std::size_t call = 1;  ///< which of the counted calls fails first, from 1
  /// A store's `commit` fails from then on only with a sharing violation, with other codes once: its caller repeats it
  /// until it succeeds.
  fault_lasting lasting = fault_lasting::once;
  std::string operation = {};  ///< the only one counted; any when empty
};

/// "call 3 fails once with Win32 error 5".
[[nodiscard]] std::string fault_text(const fault& fault);

class fault_machine {
 public:
  explicit fault_machine(platform::machine& below);
  ~fault_machine();
  fault_machine(const fault_machine&) = delete;
  fault_machine& operator=(const fault_machine&) = delete;

  /// Counts anew, with this fault ahead.
  void arm(fault next);
  /// No call fails any more.
  void disarm();

  /// The calls counted since the fault was armed.
  [[nodiscard]] std::size_t counted() const;
  /// The first call that failed, as "open(C:\a.jpg)"; none when the fault wasn't met.
  [[nodiscard]] std::optional<std::string> struck() const;

  [[nodiscard]] platform::machine& machine();

 private:
  struct facilities;
  std::unique_ptr<facilities> facilities_;
};

}  // namespace support
