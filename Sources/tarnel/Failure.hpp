#pragma once

#include <stdexcept>

namespace tarnel::command {

/// What was asked for could not be done; the text is one line for the user that says what and what to do about it. Ends
/// a command with exit status 1, and becomes the error of one line in `tarnel play`.
class Failure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The command was called wrongly. Ends it with exit status 2.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The user, or the system, ends the program. Ends a command with 128 and the signal's number.
struct Interrupted {
    int signal;
};

} // namespace tarnel::command
