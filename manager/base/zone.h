// The zone in whose local time the manager's work is planned.
#pragma once

#include <memory>
#include <string>

#include <oxbase/oxc.h>

namespace ox::manager {

class Zone {
 public:
  // As oxcZoneOpen reads it; the machine's when the text is no zone.
  explicit Zone(const std::string& text);
  [[nodiscard]] const oxcZone* get() const { return zone_.get(); }
  [[nodiscard]] bool read() const { return read_; }  // whether the text is a zone

  [[nodiscard]] std::uint32_t seconds(const oxcDate& date) const;  // 0 before 1970, the last second after 2106
  [[nodiscard]] oxcDate date(std::uint32_t seconds) const;

 private:
  struct Free {
    void operator()(oxcZone* zone) const { (void)oxcZoneFree(zone); }
  };
  std::unique_ptr<oxcZone, Free> zone_;
  bool read_ = true;
};

// The registry's TimeZone, empty for the machine's.
[[nodiscard]] std::string installation_zone();
// Empty when it can be read.
[[nodiscard]] std::string zone_fault();

}  // namespace ox::manager
