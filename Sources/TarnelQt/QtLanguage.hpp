#pragma once

#include <string>

namespace tarnel {

/// Lays the application's windows out as its language is written: from right to left for Arabic, say. `locale` is a
/// BCP 47 tag, e.g. that of the platform's application; one that is not known counts as written from left to right.
/// GUI thread.
void setLayoutDirection(const std::string& locale);

} // namespace tarnel
