#pragma once

#include <cstdint>
#include <string>

namespace tarnel::radio {

/// What a program of a few lines reaches: connects the glasses, acquires the socket of the out characteristic, and
/// writes values of the same length as the SDK does into it, waiting only for the socket.
class BareWriter {
public:
    explicit BareWriter(std::string adapter);
    ~BareWriter();
    BareWriter(const BareWriter&) = delete;
    BareWriter& operator=(const BareWriter&) = delete;

    bool connect();
    bool write(std::uint64_t bytes) const;

private:
    const std::string adapter_;
    int socket_ = -1;
};

} // namespace tarnel::radio
