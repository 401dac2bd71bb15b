#pragma once

#include <exception>

namespace tarnel {

/// What the unpacker throws. Compares with its cases: `error == MessagePackError::invalidData`.
class MessagePackError : public std::exception {
public:
    enum Case {
        invalidArgument,  ///< a reader was asked for a number of no bytes
        insufficientData, ///< the bytes end before the value does
        invalidData,      ///< bytes that no value starts with, text that is not UTF-8, nesting that is too deep
    };

    MessagePackError(Case code) : code_(code) {}

    Case code() const { return code_; }
    const char* what() const noexcept override {
        switch (code_) {
        case invalidArgument:
            return "invalidArgument";
        case insufficientData:
            return "insufficientData";
        case invalidData:
            break;
        }
        return "invalidData";
    }

    friend bool operator==(const MessagePackError& left, const MessagePackError& right) {
        return left.code_ == right.code_;
    }

private:
    Case code_;
};

} // namespace tarnel
