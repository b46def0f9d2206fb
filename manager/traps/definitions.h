// The trap definitions of the installation, and anew when somebody asks for it.
#pragma once

#include <asio/io_context.hpp>
#include <asio/steady_timer.hpp>
#include <functional>
#include <memory>
#include <utility>

#include <oxbase/oxc.h>
#include <oxbase/oxs.h>

namespace ox::manager {

class TrapDefinitions {
 public:
  // Calls back each time that there are others.
  TrapDefinitions(asio::io_context& loop, std::function<void()> renewed) : renewed_(std::move(renewed)), timer_(loop) {}

  // Reads them, and looks from then on whether they are to be read anew.
  void start();
  // The one for a trap; null without one. Valid until the event loop comes round.
  [[nodiscard]] const oxcTrTag* find(const oxsSnmpTrap& trap) const;

 private:
  struct Free {
    void operator()(oxcTrConf* list) const noexcept { (void)oxcTrFreeConf(list); }
  };

  void read();
  void look_later();

  std::function<void()> renewed_;
  asio::steady_timer timer_;
  std::unique_ptr<oxcTrConf, Free> list_;
};

}  // namespace ox::manager
