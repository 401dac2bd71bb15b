#include <TarnelSDK/messagepack/MessagePackMap.hpp>
#include <TarnelSDK/messagepack/MessagePackValue.hpp>

#include <algorithm>
#include <bit>
#include <cmath>
#include <optional>

namespace tarnel {
namespace {

constexpr std::size_t mostSearchedOneByOne = 16;

/// Writes a form of a value that is the same for equal values and differs for unequal ones: a letter for the case and
/// the payload, lengths first. An int that is not negative takes the form of its uint; the entries of a map are sorted.
class Canonical {
public:
    /// Empty when the value holds a NaN: such a value equals nothing.
    static std::optional<std::string> of(const MessagePackValue& value) {
        Canonical writer;
        writer.write(value);
        return writer.holdsNaN_ ? std::nullopt : std::optional(std::move(writer.out_));
    }

    void operator()(bool value) { out_ += value ? 'T' : 'F'; }
    void operator()(std::int64_t value) { number(value < 0 ? 'I' : 'U', static_cast<std::uint64_t>(value)); }
    void operator()(std::uint64_t value) { number('U', value); }
    void operator()(float value) {
        holdsNaN_ |= std::isnan(value);
        number('f', std::bit_cast<std::uint32_t>(value == 0 ? 0.0F : value));
    }
    void operator()(double value) {
        holdsNaN_ |= std::isnan(value);
        number('d', std::bit_cast<std::uint64_t>(value == 0 ? 0.0 : value));
    }
    void operator()(const std::string& value) {
        number('s', value.size());
        out_ += value;
    }
    void operator()(const Bytes& value) {
        number('b', value.size());
        out_.append(value.begin(), value.end());
    }
    void operator()(const MessagePackValue::Array& value) {
        number('a', value.size());
        for (const auto& element : value) {
            write(element);
        }
    }
    void operator()(const MessagePackValue::Map& value) {
        std::vector<std::string> entries;
        for (const auto& [key, element] : value) {
            Canonical entry;
            entry.write(key);
            entry.write(element);
            holdsNaN_ |= entry.holdsNaN_;
            entries.push_back(std::move(entry.out_));
        }
        std::sort(entries.begin(), entries.end());
        number('m', entries.size());
        for (const auto& entry : entries) {
            out_ += entry;
        }
    }
    void operator()(const MessagePackValue::Extended& value) {
        out_ += 'x';
        out_ += static_cast<char>(value.type);
        (*this)(value.data);
    }
    void operator()(std::monostate) { out_ += 'n'; }

private:
    void write(const MessagePackValue& value) { std::visit(*this, value.storage()); }

    void number(char kind, std::uint64_t value) {
        out_ += kind;
        for (int shift = 56; shift >= 0; shift -= 8) {
            out_ += static_cast<char>(value >> shift & 0xFF);
        }
    }

    std::string out_;
    bool holdsNaN_ = false;
};

bool isContainer(const MessagePackValue& value) {
    return value.arrayValue() || value.dictionaryValue();
}

} // namespace

MessagePackMap::MessagePackMap() = default;
MessagePackMap::MessagePackMap(MessagePackMap&& other) noexcept = default;
MessagePackMap& MessagePackMap::operator=(MessagePackMap&& other) noexcept = default;
MessagePackMap::~MessagePackMap() = default;

MessagePackMap::MessagePackMap(std::initializer_list<Entry> entries) {
    reserve(entries.size());
    for (const auto& [key, value] : entries) {
        set(key, value);
    }
}

MessagePackMap::MessagePackMap(const MessagePackMap& other)
    : entries_(other.entries_), index_(other.index_ ? std::make_unique<Index>(*other.index_) : nullptr) {}

MessagePackMap& MessagePackMap::operator=(const MessagePackMap& other) {
    return *this = MessagePackMap(other);
}

std::size_t MessagePackMap::size() const {
    return entries_.size();
}

void MessagePackMap::reserve(std::size_t count) {
    entries_.reserve(count);
}

std::vector<MessagePackMap::Entry>::const_iterator MessagePackMap::begin() const {
    return entries_.begin();
}

std::vector<MessagePackMap::Entry>::const_iterator MessagePackMap::end() const {
    return entries_.end();
}

void MessagePackMap::set(MessagePackValue key, MessagePackValue value) {
    if (!index_ && (entries_.size() == mostSearchedOneByOne || isContainer(key))) {
        buildIndex();
    }
    std::size_t place = entries_.size();
    if (index_) {
        if (auto form = Canonical::of(key)) {
            place = index_->try_emplace(std::move(*form), place).first->second;
        }
    } else if (const auto found = position(key); found != notFound) {
        place = found;
    }
    if (place < entries_.size()) {
        entries_[place].value = std::move(value);
    } else {
        entries_.push_back({std::move(key), std::move(value)});
    }
}

const MessagePackValue* MessagePackMap::find(const MessagePackValue& key) const {
    const auto place = position(key);
    return place == notFound ? nullptr : &entries_[place].value;
}

std::size_t MessagePackMap::position(const MessagePackValue& key) const {
    if (!index_) {
        const auto found =
            std::find_if(entries_.begin(), entries_.end(), [&](const Entry& entry) { return entry.key == key; });
        return found == entries_.end() ? notFound : static_cast<std::size_t>(found - entries_.begin());
    }
    const auto form = Canonical::of(key);
    if (!form) {
        return notFound;
    }
    const auto found = index_->find(*form);
    return found == index_->end() ? notFound : found->second;
}

void MessagePackMap::buildIndex() {
    index_ = std::make_unique<Index>();
    for (std::size_t place = 0; place < entries_.size(); ++place) {
        if (auto form = Canonical::of(entries_[place].key)) {
            index_->emplace(std::move(*form), place);
        }
    }
}

bool operator==(const MessagePackMap& left, const MessagePackMap& right) {
    return left.size() == right.size() && std::all_of(left.begin(), left.end(), [&](const auto& entry) {
               const auto* other = right.find(entry.key);
               return other && *other == entry.value;
           });
}

} // namespace tarnel
