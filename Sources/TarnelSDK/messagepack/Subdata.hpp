#pragma once

#include <TarnelSDK/platform/Bytes.hpp>
#include <TarnelSDK/platform/Precondition.hpp>

#include <cstddef>
#include <cstdint>

namespace tarnel {

/// A view on a part of a byte buffer, its indices counted from 0. The buffer is shared, not copied, and outlives the
/// view.
class Subdata {
public:
    /// From the index to the buffer's end. REQUIRES: the index lies in the buffer or at its end.
    explicit Subdata(ByteView data, std::size_t startIndex = 0) : Subdata(data, startIndex, data.size()) {}

    /// REQUIRES: startIndex <= endIndex <= data.size().
    Subdata(ByteView data, std::size_t startIndex, std::size_t endIndex)
        : base_(data), baseStartIndex_(startIndex), baseEndIndex_(endIndex) {
        precondition(startIndex <= endIndex && endIndex <= data.size(), "a view lies in its buffer");
    }

    ByteView base() const { return base_; }
    std::size_t baseStartIndex() const { return baseStartIndex_; }
    std::size_t baseEndIndex() const { return baseEndIndex_; }

    std::size_t count() const { return baseEndIndex_ - baseStartIndex_; }
    bool isEmpty() const { return count() == 0; }
    std::size_t startIndex() const { return 0; }
    std::size_t endIndex() const { return count(); }

    /// REQUIRES: index < count().
    std::uint8_t operator[](std::size_t index) const {
        precondition(index < count(), "an index lies in its view");
        return base_[baseStartIndex_ + index];
    }

    /// The bytes from `start` up to but not including `end`, on the same buffer. REQUIRES: start <= end <= count().
    Subdata subrange(std::size_t start, std::size_t end) const {
        precondition(start <= end && end <= count(), "a range lies in its view");
        return Subdata(base_, baseStartIndex_ + start, baseStartIndex_ + end);
    }

    ByteView view() const { return base_.subspan(baseStartIndex_, count()); }
    ByteView::iterator begin() const { return view().begin(); }
    ByteView::iterator end() const { return view().end(); }

    /// A copy of the bytes.
    Bytes data() const { return Bytes(begin(), end()); }

private:
    ByteView base_;
    std::size_t baseStartIndex_;
    std::size_t baseEndIndex_;
};

} // namespace tarnel
