#include "manager/sessions/session.h"

#include <asio/post.hpp>
#include <new>
#include <utility>

#include "manager/base/log.h"
#include "manager/sessions/server.h"
#include "platform/pipe.h"

namespace ox::manager {
namespace {

constexpr auto refusal_patience = std::chrono::seconds(3);  // for a refused client to greet, read its answer and go
constexpr char out_of_memory[] = "out of memory";

}  // namespace

Session::Session(Server& server, std::uint32_t id, OX_RESULT refusal)
    : server_(server), id_(id), refusal_(refusal), timer_(server.loop()), frames_(server.settings().max_frame) {}

void Session::start(std::unique_ptr<platform::PipeConnection> connection) {
  connection_ = std::move(connection);
  guarded([&] {
    if (refusal_ == OX_OK) {
      refusal_ = identify();
      if (refusal_ != OX_OK) server_.refused(id_, refusal_);
    }
    if (refusal_ != OX_OK) {
      limit_stay();
    } else {
      timer_.expires_after(std::chrono::seconds(server_.settings().greeting_timeout));
      timer_.async_wait([weak = weak_from_this()](const asio::error_code& error) {
        const auto self = weak.lock();
        if (!error && self && !self->greeted_) self->drop("no greeting in time");
      });
    }
    read();
  });
}

// Who the client is, where the system tells by now; what he is refused with.
OX_RESULT Session::identify() {
  const platform::Peer peer = connection_->peer();
  process_ = peer.process;
  if (peer.user.empty()) return OX_OK;
  const RightsPtr rights = server_.rights_of(peer);
  if (!rights) return OX_EDENIED;
  if (const OX_RESULT result = server_.give_seat(*rights, seat_)) return result;
  input_held_.set_user(rights->shared_user());
  output_held_.set_user(rights->shared_user());
  rights_ = rights;
  return OX_OK;
}

bool Session::in_message_since(std::chrono::steady_clock::time_point moment) const {
  return reading_ && greeted_ && frames_.in_message() && message_began_ <= moment;
}

std::size_t Session::held() const {
  return frames_.held() + waiting_bytes_ + output_.size() + server_.clients().report_bytes(id_);
}

// A client that is refused has its answer soon, or goes without.
void Session::limit_stay() {
  timer_.expires_after(refusal_patience);
  timer_.async_wait([weak = weak_from_this()](const asio::error_code& error) {
    const auto self = weak.lock();
    if (!error && self) self->drop("");
  });
}

void Session::close() {
  closed_ = true;
  timer_.cancel();
  connection_.reset();
  rest_.reset();
  waiting_.clear();
  end_request();
}

void Session::drop(const std::string& reason) {
  if (closed_) return;
  closed_ = true;
  server_.drop(id_, reason);
}

// A client for whom there is no memory costs the others nothing. It is told, when that is what its greeting comes to.
template <class Call>
void Session::guarded(const Call& call) {
  try {
    return call();
  } catch (const std::bad_alloc&) {
    if (greeting_answered_) return drop(out_of_memory);
  }
  try {
    refuse(OX_ENOMEM);
  } catch (const std::bad_alloc&) {
    drop(out_of_memory);
  }
}

void Session::refuse(OX_RESULT code) {
  if (std::exchange(refusal_, code) == OX_OK) server_.refused(id_, code);
  limit_stay();
  answer_greeting();
  read();
}

// Clients end their sessions by closing them: only half a message is worth a line.
void Session::peer_closed() { drop(frames_.in_message() ? "closed in the middle of a message" : ""); }

// One timer looks after a write now and then: setting one for each would cost more than most writes.
void Session::watch_write(std::chrono::steady_clock::time_point since) {
  const auto limit = std::chrono::seconds(server_.settings().send_timeout);
  write_watched_ = true;
  timer_.expires_at(since + limit);
  timer_.async_wait([weak = weak_from_this(), limit](const asio::error_code& error) {
    const auto self = weak.lock();
    if (error || !self || self->closed_) return;
    self->write_watched_ = false;
    if (!self->writing_since_) return;
    if (std::chrono::steady_clock::now() - *self->writing_since_ >= limit) return self->drop("answer not read in time");
    self->watch_write(*self->writing_since_);
  });
}

void Session::read() {
  if (closed_ || reading_ || waiting_.size() >= server_.settings().max_queue) return;
  reading_ = true;
  connection_->read_some(input_, [weak = weak_from_this()](platform::Error error, std::size_t count) {
    if (const auto self = weak.lock()) self->received(error, count);
  });
}

void Session::received(platform::Error error, std::size_t count) {
  reading_ = false;
  if (closed_) return;
  if (platform::is_pipe_closed(error)) return peer_closed();
  if (error != platform::error_none) return drop("read error " + std::to_string(error));
  guarded([&] {
    if (!greeting_answered_ || refusal_ == OX_OK) frames_.append(std::span(input_).first(count));
    if (!greeted_) take_greeting();
    if (greeted_ && refusal_ == OX_OK) take_messages();
    if (refusal_ == OX_OK) account_for_input();
    read();
  });
}

void Session::take_greeting() {
  std::string event_name;
  switch (frames_.next_greeting(event_name)) {
    case FrameReader::Result::incomplete:
      return;
    case FrameReader::Result::broken:
      return drop(frames_.fault());
    case FrameReader::Result::complete:
      break;
  }
  greeted_ = true;
  if (refusal_ == OX_OK) {
    if (const OX_RESULT code = admit(event_name)) return refuse(code);
    timer_.cancel();
    server_.taken();
  }
  answer_greeting();
}

// A client whose event cannot be opened is served, and fetches unasked.
OX_RESULT Session::admit(const std::string& event_name) {
  if (!rights_) {
    if (const OX_RESULT result = identify()) return result;
    if (!rights_) return OX_EDENIED;  // nobody knows who that is
  }
  std::unique_ptr<platform::Announcer> announcer;
  if (const auto error = connection_->make_announcer(event_name.c_str(), announcer)) {
    if (error == platform::error_open_failed) return no_descriptors;
    log(Severity::warning, "the reports of process " + std::to_string(process_) +
                               " are not announced: its event cannot be opened: " + std::to_string(error));
  }
  server_.clients().open(id_, process_, rights_->shared_user(), std::move(announcer));
  return OX_OK;
}

void Session::answer_greeting() {
  Bytes answer = refusal_ != OX_OK ? greeting_refusal(refusal_) : greeting_answer(server_.settings().max_frame);
  greeted_ = true;
  answering_ = true;
  write(std::move(answer));
  greeting_answered_ = true;
}

void Session::take_messages() {
  Message message;
  while (!closed_) {
    const auto result = frames_.next(message);
    if (result == FrameReader::Result::broken) return drop(frames_.fault());
    if (result == FrameReader::Result::incomplete) break;
    message_began_ = std::chrono::steady_clock::time_point::max();
    waiting_bytes_ += message.data.size();
    waiting_.push_back(std::move(message));
  }
  answer_next();
}

// What is too much for the user is not kept of the message that is coming, then of those that wait, the last first:
// each is answered with that.
void Session::account_for_input() {
  if (closed_) return;
  if (!frames_.in_message()) {
    message_began_ = std::chrono::steady_clock::time_point::max();
  } else if (message_began_ == std::chrono::steady_clock::time_point::max()) {
    message_began_ = std::chrono::steady_clock::now();
  }
  const std::uint64_t most = server_.settings().user_bytes;
  if (input_held_.hold(frames_.held() + waiting_bytes_, most)) return;
  rights_->user().refused("a request", "all of his take as many bytes as UserBytes allows");
  frames_.pass_over(OX_ETOOMANY);
  for (auto last = waiting_.rbegin(); last != waiting_.rend(); ++last) {
    if (input_held_.hold(frames_.held() + waiting_bytes_, most)) return;
    waiting_bytes_ -= last->data.size();
    last->data = Bytes();
    last->refusal = OX_ETOOMANY;
  }
  if (!input_held_.hold(frames_.held() + waiting_bytes_, most)) drop("its user has too much under way (UserBytes)");
}

// False when the user has too many under way, which is the answer then.
bool Session::begin_request(const Message& message) {
  User& user = rights_->user();
  if (user.holds.requests >= server_.settings().user_requests) {
    user.refused("a request", "as many of his as UserRequests allows are being answered");
    reply(message, error_reply(OX_ETOOMANY));
    return false;
  }
  ++user.holds.requests;
  under_way_ = true;
  return true;
}

void Session::end_request() {
  if (std::exchange(under_way_, false)) --rights_->user().holds.requests;
}

void Session::answer_next() {
  if (closed_ || answering_ || waiting_.empty()) return;
  answering_ = true;
  const Message message = std::move(waiting_.front());
  waiting_.pop_front();
  waiting_bytes_ -= message.data.size();
  (void)input_held_.hold(frames_.held() + waiting_bytes_, server_.settings().user_bytes);
  Message heading;  // what the reply repeats of the request
  heading.command = message.command;
  heading.reference = message.reference;
  heading.destination_id = message.source_id;
  if (!begin_request(heading)) return;
  server_.route({id_, message,
                 [weak = weak_from_this(), heading](Reply reply) {
                   if (const auto self = weak.lock()) self->reply(heading, std::move(reply));
                 },
                 rights_});
}

void Session::reply(const Message& request, Reply reply) {
  if (closed_) return;
  end_request();
  guarded([&] {
    if (!output_held_.hold(reply.data.size(), server_.settings().user_bytes)) {
      rights_->user().refused("an answer", "all of his take as many bytes as UserBytes allows");
      reply.error = OX_ETOOMANY;
      reply.data = Bytes();
      reply.rest.reset();
    }
    rest_ = std::move(reply.rest);
    write(encode_reply(reply_to(request, std::move(reply)), rest_ ? rest_->left() : 0));
  });
}

Message Session::reply_to(const Message& request, Reply reply) {
  Message message = request;
  message.type = reply.type;
  message.error = reply.error;
  message.source_id = reply.source_id;
  if (reply.report) {
    message.command = reply.report->command;
    message.destination_id = reply.report->destination_id;
    message.reference = reply.report->reference;
  }
  message.data = std::move(reply.data);
  return message;
}

void Session::write(Bytes bytes) {
  output_ = std::move(bytes);
  writing_since_ = std::chrono::steady_clock::now();
  if (!write_watched_ && refusal_ == OX_OK) watch_write(*writing_since_);
  connection_->write_all(output_, [weak = weak_from_this()](platform::Error error, std::size_t) {
    if (const auto self = weak.lock()) self->written(error);
  });
}

// A piece at a time: no more of an answer is held than its client is about to take.
void Session::write_rest() {
  Bytes piece;
  if (!rest_->take(piece)) return drop(rest_->fault());
  if (!piece.empty()) return write(std::move(piece));
  asio::post(server_.loop(), [weak = weak_from_this()] {
    const auto self = weak.lock();
    if (self && !self->closed_) self->guarded([&] { self->write_rest(); });
  });
}

void Session::written(platform::Error error) {
  if (closed_) return;
  writing_since_.reset();
  if (platform::is_pipe_closed(error)) return peer_closed();
  if (error != platform::error_none) return drop("write error " + std::to_string(error));
  output_ = {};
  (void)output_held_.hold(0, 0);
  guarded([&] {
    if (rest_ && rest_->left() != 0) return write_rest();
    rest_.reset();
    answering_ = false;
    answer_next();
    read();
  });
}

}  // namespace ox::manager
