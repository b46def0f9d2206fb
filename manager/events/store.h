// The files of the event log: the events, how far each persistent wait has come, and the numbers in use.
//
// Changes are gathered and take effect together, at commit: what a commit has taken survives the death of the manager
// at any moment, and nothing of an uncommitted change does. Reads see what has been committed.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "manager/base/faults.h"
#include "manager/base/payload.h"

namespace ox::manager {

// Numbers events in their order, from 1 on, for the whole life of an installation.
using Sequence = std::uint64_t;

struct StoredEvent {
  Sequence sequence = 0;
  std::uint32_t arrived = 0;  // seconds since 1970
  bool listed = true;         // false: deleted from the log, and kept for waits that have not had it
  Bytes body;
};

// How far a persistent wait has come.
struct WaitMark {
  Sequence taken = 0;      // the last event that it has taken
  std::uint32_t seen = 0;  // when a process last opened or closed it
};

class EventStore {
 public:
  virtual ~EventStore() = default;

  // Reads what is there. False, with the fault reported, when it cannot be used; nothing is changed then.
  [[nodiscard]] virtual bool open(const FaultSink& faults) = 0;

  virtual void put(const StoredEvent& event) = 0;  // a new event, or one in place of that with its sequence
  virtual void erase(Sequence sequence) = 0;
  virtual void erase_up_to(Sequence sequence) = 0;  // and remember that they are gone
  virtual void erase_unlisted_up_to(Sequence sequence) = 0;
  virtual void put_wait(const std::string& name, const WaitMark& mark) = 0;
  virtual void erase_wait(const std::string& name) = 0;
  // False when the disk does not take the changes: they are undone.
  [[nodiscard]] virtual bool commit() = 0;

  // Events in order, next to the sequence on either side: at most `count`, and no more once they exceed `bytes`.
  [[nodiscard]] virtual std::vector<StoredEvent> after(Sequence sequence, std::size_t count, std::size_t bytes) = 0;
  [[nodiscard]] virtual std::vector<StoredEvent> before(Sequence sequence, std::size_t count, std::size_t bytes) = 0;
  [[nodiscard]] virtual std::optional<StoredEvent> get(Sequence sequence) = 0;
  [[nodiscard]] virtual std::map<std::string, WaitMark> waits() = 0;
  // Up to where events must go so that the bodies of the others have at most `bytes`, and none of them arrived before
  // that time; 0 when none has to.
  [[nodiscard]] virtual Sequence excess(std::uint64_t bytes, std::uint32_t arrived_before) = 0;

  [[nodiscard]] Sequence last() const { return last_; }         // the highest sequence ever used
  [[nodiscard]] Sequence erased() const { return erased_; }     // erase_up_to has come this far
  [[nodiscard]] std::uint64_t bytes() const { return bytes_; }  // of all bodies

 protected:
  Sequence last_ = 0;
  Sequence erased_ = 0;
  std::uint64_t bytes_ = 0;
};

// A store in plain files, "events.N.log" of the directory.
[[nodiscard]] std::unique_ptr<EventStore> make_file_event_store(const std::string& directory,
                                                                std::size_t segment_size = 4u << 20);

// The store that this build uses.
[[nodiscard]] std::unique_ptr<EventStore> make_event_store(const std::string& directory);

}  // namespace ox::manager
