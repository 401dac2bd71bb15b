#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace tarnel {

class MessagePackValue;

/// A dictionary of MessagePack values that keeps the order in which its keys were first inserted.
///
/// A few scalar keys are searched one by one. More keys, or keys that are containers, are found through an ordered
/// index, so that no choice of keys, as they may come from the air, makes a map of n entries cost more than O(n log n)
/// comparisons. A key that holds a NaN is equal to no key, not even to itself: it is never found and never replaced.
class MessagePackMap {
public:
    struct Entry;

    MessagePackMap();
    MessagePackMap(std::initializer_list<Entry> entries);
    MessagePackMap(const MessagePackMap& other);
    MessagePackMap(MessagePackMap&& other) noexcept;
    MessagePackMap& operator=(const MessagePackMap& other);
    MessagePackMap& operator=(MessagePackMap&& other) noexcept;
    ~MessagePackMap();

    std::size_t size() const;
    bool empty() const { return size() == 0; }
    void reserve(std::size_t count);

    /// Adds the entry, or gives the entry of an equal key this value; the entry keeps its place.
    void set(MessagePackValue key, MessagePackValue value);

    /// The value of the key, null when it is absent; valid until the map changes.
    const MessagePackValue* find(const MessagePackValue& key) const;
    bool contains(const MessagePackValue& key) const { return find(key) != nullptr; }

    std::vector<Entry>::const_iterator begin() const;
    std::vector<Entry>::const_iterator end() const;

    /// Equal as dictionaries: the order does not count.
    friend bool operator==(const MessagePackMap& left, const MessagePackMap& right);

private:
    /// From a form of the key that equal keys share to the place of its entry.
    using Index = std::map<std::string, std::size_t, std::less<>>;

    static constexpr std::size_t notFound = static_cast<std::size_t>(-1);

    std::size_t position(const MessagePackValue& key) const;
    void buildIndex();

    std::vector<Entry> entries_;
    std::unique_ptr<Index> index_;
};

} // namespace tarnel
