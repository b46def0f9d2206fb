#include "manager/requests/data_streams.h"

#include <algorithm>
#include <array>
#include <utility>

#include "common/protocol.h"

namespace ox::manager {
namespace {

constexpr std::uint32_t first_id = 0x80000000;
constexpr std::size_t most_of_session = 1000;
constexpr std::size_t piece_size = 180 * 1024;  // of the nodes made so far, when no other is begun: 256 KiB at most
constexpr std::size_t size_of_cell = 40;        // about
constexpr std::size_t most_of_piece = 256 * 1024;

}  // namespace

class DataStreams::Stream final : public ReportSource {
 public:
  Stream(DataStreams& streams, const Client& client, EntryId entry, bool header, ComponentName component, Oid path)
      : client_(client),
        entry_(entry),
        header_(header),
        streams_(streams),
        component_(std::move(component)),
        path_(std::move(path)) {}

  [[nodiscard]] std::optional<Reply> next_report() override {
    has_waited = !ended_ && streams_.series_.is_away();
    if (ended_ || has_waited) return {};
    if (!streams_.series_.has(entry_)) return end(OX_EENDED);
    look();
    return header_ ? next_header() : next_values();
  }
  // Items that the client has not heard of.
  [[nodiscard]] bool header_is_due() const {
    const Layout* const layout = streams_.series_.layout(entry_);
    if (!header_ || ended_ || (layout == nullptr && begun_)) return false;
    return !begun_ || items_of(*layout) != told_;
  }

  const Client client_;
  const EntryId entry_;
  const bool header_;
  std::uint32_t id = 0;
  bool has_waited = false;  // for the database

 private:
  using ItemCounts = std::array<std::size_t, axis_count>;

  static ItemCounts items_of(const Layout& layout) {
    ItemCounts counts{};
    for (std::size_t axis = 0; axis < axis_count; ++axis) counts[axis] = layout.items(static_cast<Axis>(axis)).size();
    return counts;
  }
  [[nodiscard]] Reply report(OX_RESULT error, Bytes data) const {
    Reply made{.error = error, .source_id = id, .data = std::move(data)};
    made.report = ReportHeading{command_asy_get, client_.handle, 0};
    return made;
  }
  [[nodiscard]] Reply end(OX_RESULT why) {
    ended_ = true;
    return report(why, {});
  }

  // What has been delivered is not looked at again, and nothing of an entry to which nothing comes any more, unless
  // damage has taken some of it since.
  void look() {
    const std::uint64_t lost = streams_.series_.counts(entry_).lost;
    if (piece_ || (view_is_last_ && lost == lost_)) return;
    view_ = streams_.series_.view(entry_, header_ ? UINT32_MAX : at_);
    view_is_last_ = streams_.series_.layout(entry_) == nullptr;
    lost_ = lost;
  }

  std::optional<Reply> next_header() {
    if (begun_ && view_->items == told_) return {};
    NodesOfItems nodes(component_, path_, std::make_unique<HeaderItems>(streams_.series_, view_, false));
    Bytes data;
    while (nodes.next(data)) {
    }
    told_ = view_->items;
    begun_ = true;
    streams_.wake(entry_);  // the values have waited for it
    return report(nodes.lost() ? OX_RESULT{OX_ENODES} : OX_RESULT{OX_OK}, std::move(data));
  }

  std::optional<Reply> next_values() {
    if (streams_.header_is_due(*this)) return {};
    if (!piece_ && at_ >= view_->rounds) {
      if (streams_.series_.is_open(entry_)) return {};
      return end(view_->lost != 0 ? OX_RESULT{OX_ERUNTIME} : OX_RESULT{OX_ENOTFOUND});
    }
    if (!piece_) {
      const std::size_t rounds = std::max<std::size_t>(1, most_of_piece / (view_->series * size_of_cell + 1));
      to_ = at_ + static_cast<std::uint32_t>(std::min<std::size_t>(rounds, view_->rounds - at_));
      piece_.emplace(component_, path_, std::make_unique<ValueItems>(streams_.series_, view_, at_, to_, true));
    }
    Bytes data;
    bool more = true;
    while (more && data.size() < piece_size) more = piece_->next(data);
    const bool lost = piece_->lost();
    if (!more) {
      piece_.reset();
      at_ = to_;
    }
    if (data.empty()) return next_report();
    return report(lost ? OX_RESULT{OX_ENODES} : OX_RESULT{OX_OK}, std::move(data));
  }

  DataStreams& streams_;
  ComponentName component_;
  Oid path_;
  bool ended_ = false;
  std::shared_ptr<const EntryView> view_{};
  bool view_is_last_ = false;
  std::uint64_t lost_ = 0;  // when it was looked at
  // Of the header.
  bool begun_ = false;
  ItemCounts told_{};
  // Of the values: the rounds up to there are delivered, or are in the piece under way.
  std::uint32_t at_ = 0;
  std::uint32_t to_ = 0;
  std::optional<NodesOfItems> piece_{};
};

DataStreams::DataStreams(SeriesStore& series, Clients& clients) : series_(series), clients_(clients) {
  series.on_news([this](EntryId entry) { wake(entry); });
}

DataStreams::~DataStreams() = default;

OX_RESULT DataStreams::open(const Client& client, EntryId entry, bool header, const ComponentName& component,
                            const Oid& path, std::uint32_t& id) {
  const auto of_session = [&](const auto& one) { return one.second->client_.session == client.session; };
  if (std::count_if(streams_.begin(), streams_.end(), of_session) >= static_cast<std::ptrdiff_t>(most_of_session)) {
    return OX_ETOOMANY;
  }
  do {
    id = first_id | ++last_id_;
  } while (streams_.contains(id));
  auto made = std::make_unique<Stream>(*this, client, entry, header, component, path);
  made->id = id;
  Stream& stream = *streams_.emplace(id, std::move(made)).first->second;
  clients_.outbox(client.session).ready(stream);
  return OX_OK;
}

bool DataStreams::has(std::uint32_t id, std::uint32_t session) const {
  const auto found = streams_.find(id);
  return found != streams_.end() && found->second->client_.session == session;
}

bool DataStreams::close(std::uint32_t id, std::uint32_t session) {
  if (!has(id, session)) return false;
  clients_.outbox(session).leave(*streams_.at(id));
  streams_.erase(id);
  return true;
}

void DataStreams::end_session(std::uint32_t session) {
  for (auto next = streams_.begin(); next != streams_.end();) {
    const auto stream = next++;
    if (stream->second->client_.session == session) (void)close(stream->first, session);
  }
}

void DataStreams::wake(EntryId entry) {
  for (const auto& [id, stream] : streams_) {
    if (stream->entry_ == entry) clients_.outbox(stream->client_.session).ready(*stream);
  }
}

void DataStreams::go_on() {
  for (const auto& [id, stream] : streams_) {
    if (stream->has_waited) clients_.outbox(stream->client_.session).ready(*stream);
  }
}

// Values are not read without the header that goes before them.
bool DataStreams::header_is_due(const Stream& of) const {
  return std::any_of(streams_.begin(), streams_.end(), [&](const auto& one) {
    const Stream& stream = *one.second;
    return stream.client_.session == of.client_.session && stream.entry_ == of.entry_ && stream.header_is_due();
  });
}

}  // namespace ox::manager
