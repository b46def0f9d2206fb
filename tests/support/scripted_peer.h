// A manager of the tests' own: serves the session pipe, records every byte that it is sent and answers as told.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

#include "platform/server/pipe_server.h"
#include "tests/support/test.h"

namespace ox::test {

// Big-endian bytes, and the number that they are.
[[nodiscard]] std::string half(std::uint32_t value);
[[nodiscard]] std::string word(std::uint32_t value);
[[nodiscard]] std::uint32_t number(std::string_view bytes);
// Length with the terminator, then the text with it.
[[nodiscard]] std::string text(std::string_view value);

// A message as the manager sends it.
struct ReplyFields {
  std::uint32_t type = 1;
  std::uint32_t command = 1;
  std::uint32_t error = 0;
  std::uint32_t source_id = 0;
  std::uint32_t destination_id = 0;
  std::string data{};
  std::string source_name{};  // with its terminator when it is to have one
  std::string destination_name{};
  std::uint32_t reference = 0;
};
[[nodiscard]] std::string reply_bytes(const ReplyFields& fields);

// A message as a client sends it.
struct RequestFields {
  std::uint32_t type = 1;
  std::uint32_t command = 0;
  std::uint32_t error = 0;
  std::string session{};  // with its terminator when there is one
  std::uint32_t source = 0;
  std::uint32_t destination = 0;
  std::string body{};
  std::uint32_t reference = 0;
};
[[nodiscard]] std::string request_bytes(const RequestFields& fields);

// What the peer does after one request (or after the greeting).
struct Answer {
  std::vector<std::string> pieces{};  // written one after the other, a moment apart
  bool close = false;                 // then closes the connection
  std::function<void()> before{};     // runs first, on the peer's thread
};

class ScriptedPeer {
 public:
  ScriptedPeer();  // serves when it returns
  ~ScriptedPeer();
  ScriptedPeer(const ScriptedPeer&) = delete;
  ScriptedPeer& operator=(const ScriptedPeer&) = delete;

  // What greetings are answered with; a success by default.
  void answer_greetings(Answer answer) { set(greeting_answer_, std::move(answer)); }
  // Answers to the next requests, in order. When there are none left, `otherwise` answers; nothing by default.
  void answer(Answer answer) {
    const std::scoped_lock lock(mutex_);
    answers_.push_back(std::move(answer));
  }
  void answer(std::string bytes) { answer(Answer{{std::move(bytes)}}); }
  void otherwise(std::string bytes) { set(otherwise_, Answer{{std::move(bytes)}}); }

  // Every greeting and every request since the last call, as received.
  [[nodiscard]] std::vector<std::string> greetings() { return set(greetings_, {}); }
  [[nodiscard]] std::vector<std::string> requests() { return set(requests_, {}); }

  // Signals the last session's notification event.
  void announce();
  // Closes the connection, without a word.
  void hang_up();

 private:
  struct Server;
  template <class T>
  T set(T& member, T value) {
    const std::scoped_lock lock(mutex_);
    return std::exchange(member, std::move(value));
  }
  void run();
  void serve_connection();
  [[nodiscard]] bool read(std::string& bytes, std::size_t size);
  [[nodiscard]] bool read_request(std::string& request);
  [[nodiscard]] bool deliver(const Answer& answer);
  [[nodiscard]] Answer next_answer();

  std::mutex mutex_;
  Answer greeting_answer_;
  std::deque<Answer> answers_;
  Answer otherwise_;
  std::vector<std::string> greetings_;
  std::vector<std::string> requests_;
  std::unique_ptr<platform::Announcer> announcer_;

  std::unique_ptr<Server> server_;
  std::thread thread_;
};

}  // namespace ox::test
