#include "devsys/recorder.h"

#include "devsys/items.h"
#include "devsys/sessionitems.h"

namespace zordev {

std::vector<RecordedItem> RecordedRequest::items() const {
    ItemReader reader(bytes, communicationHeaderLength(bytes));
    std::vector<RecordedItem> result;
    for (Item item; reader.next(item) == ItemResult::item;) {
        result.push_back({item.id, {item.payload.begin(), item.payload.end()}});
    }
    return result;
}

std::vector<std::uint16_t> RecordedRequest::ids() const {
    std::vector<std::uint16_t> result;
    for (const RecordedItem& item : items())
        result.push_back(item.id);
    return result;
}

std::string RecordedRequest::text(std::uint16_t id) const {
    for (const RecordedItem& item : items()) {
        if (item.id == id) return {item.payload.begin(), item.payload.end()};
    }
    return {};
}

void Recorder::record(const std::string& conversationId, std::string_view function, const std::uint8_t* bytes,
                      std::size_t length) {
    RecordedRequest request{conversationId, std::string(function), {bytes, bytes + length}};
    const std::lock_guard lock(mutex_);
    requests_.push_back(std::move(request));
}

std::vector<RecordedRequest> Recorder::all() const {
    const std::lock_guard lock(mutex_);
    return requests_;
}

void Recorder::clear() {
    const std::lock_guard lock(mutex_);
    requests_.clear();
}

}  // namespace zordev
