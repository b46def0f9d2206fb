// One client: its greeting, its requests in turn, its answers.
#pragma once

#include <array>
#include <asio/steady_timer.hpp>
#include <chrono>
#include <deque>
#include <memory>
#include <optional>
#include <string>

#include "manager/sessions/frame.h"
#include "manager/sessions/request.h"
#include "manager/sessions/users.h"
#include "platform/server/pipe_server.h"

namespace ox::manager {

class Server;

// Requests are answered one after the other, in the order of their arrival. While as many wait as the settings allow,
// nothing more is read. A client that leaves its answer unread for too long is dropped.
class Session : public std::enable_shared_from_this<Session> {
 public:
  // `refusal` is what its greeting will be answered with: 0 when it is taken.
  Session(Server& server, std::uint32_t id, OX_RESULT refusal);
  void start(std::unique_ptr<platform::PipeConnection> connection);
  // Stops everything; pending handlers and late replies find the session closed.
  void close();
  [[nodiscard]] std::uint32_t process() const { return process_; }
  // Whether it waits for the end of a message that began before then.
  [[nodiscard]] bool in_message_since(std::chrono::steady_clock::time_point moment) const;
  // Bytes of messages and answers, and of reports that wait.
  [[nodiscard]] std::size_t held() const;

 private:
  void read();
  void received(platform::Error error, std::size_t count);
  [[nodiscard]] OX_RESULT identify();
  void take_greeting();
  [[nodiscard]] OX_RESULT admit(const std::string& event_name);
  void answer_greeting();
  void refuse(OX_RESULT code);
  void limit_stay();
  void take_messages();
  void account_for_input();
  [[nodiscard]] bool begin_request(const Message& message);
  void end_request();
  void answer_next();
  void reply(const Message& request, Reply reply);
  [[nodiscard]] static Message reply_to(const Message& request, Reply reply);
  void write(Bytes bytes);
  void write_rest();
  void written(platform::Error error);
  void watch_write(std::chrono::steady_clock::time_point since);
  template <class Call>
  void guarded(const Call& call);
  void drop(const std::string& reason);
  void peer_closed();

  Server& server_;
  std::uint32_t id_;
  OX_RESULT refusal_;
  std::unique_ptr<platform::PipeConnection> connection_;
  std::uint32_t process_ = 0;
  RightsPtr rights_;  // of its user, once he is known
  Seat seat_;
  asio::steady_timer timer_;  // of the greeting, then of unread answers; of the stay of one that is refused
  std::optional<std::chrono::steady_clock::time_point> writing_since_;
  bool write_watched_ = false;
  FrameReader frames_;
  std::array<std::byte, 16384> input_{};
  Holding input_held_;
  Holding output_held_;
  std::chrono::steady_clock::time_point message_began_ = std::chrono::steady_clock::time_point::max();
  Bytes output_;
  std::shared_ptr<ByteSource> rest_;  // of the answer that is being written
  std::deque<Message> waiting_;
  std::size_t waiting_bytes_ = 0;
  bool greeted_ = false;
  bool greeting_answered_ = false;
  bool under_way_ = false;  // counted as a request of its user
  bool answering_ = false;  // a request is with its handler, or an answer is being written
  bool reading_ = false;
  bool closed_ = false;
};

}  // namespace ox::manager
