#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace tarnel::radio {

/// What a program of a few lines reaches: connects the glasses, acquires the socket of the out characteristic, and
/// writes values into it, waiting only for the socket.
class BareWriter {
public:
    explicit BareWriter(std::string adapter);
    ~BareWriter();
    BareWriter(const BareWriter&) = delete;
    BareWriter& operator=(const BareWriter&) = delete;

    bool connect();
    /// Values of these lengths.
    bool write(const std::vector<std::size_t>& lengths) const;

private:
    const std::string adapter_;
    int socket_ = -1;
};

} // namespace tarnel::radio
