// The hidden window of a session: other threads post numbers to it, the thread that made it runs them.
#pragma once

#include <cstdint>
#include <memory>

#include "platform/error.h"

namespace ox::platform {

class ReportWindow {
 public:
  using Handler = void (*)(std::uint32_t message);

  ReportWindow();
  ReportWindow(ReportWindow&&) noexcept;
  ReportWindow& operator=(ReportWindow&&) noexcept;
  ~ReportWindow();  // pending messages are dropped

  // Makes the window for the calling thread; its messages run `handler` there.
  [[nodiscard]] Error create(Handler handler);

  // A number of this machine for the window, to name things after it; 0 without a window.
  [[nodiscard]] std::uint32_t handle() const noexcept;

  // A poster is what other threads keep: it outlives the window safely.
  class Poster {
   public:
    Poster();
    Poster(const Poster&);
    Poster& operator=(const Poster&);
    ~Poster();
    // error_none; error_quota for a full queue; error_invalid_handle when the window is gone.
    [[nodiscard]] Error post(std::uint32_t message) const noexcept;
    [[nodiscard]] bool alive() const noexcept;

   private:
    friend class ReportWindow;
    struct Shared;
    std::shared_ptr<Shared> shared_;
  };
  [[nodiscard]] Poster poster() const;

  // Takes back what has been posted of that number and has not run. From the window's thread.
  void withdraw(std::uint32_t message) const;

  // Runs what is posted, waiting at most `milliseconds` for the first message. On Windows every message of the thread
  // is dispatched. A handler that pumps again runs what is left; it is not an error.
  void dispatch(std::uint32_t milliseconds);

  // A descriptor that polls readable while something is posted; -1 where the platform has none.
  [[nodiscard]] std::intptr_t descriptor() const noexcept;

  [[nodiscard]] explicit operator bool() const noexcept { return shared_ != nullptr; }

 private:
  std::shared_ptr<Poster::Shared> shared_;
};

}  // namespace ox::platform
