/// Changes settings for the tests: `settings_writer FOLDER KEY COUNT`.
///
/// Sets KEY, and "KEY.twin" to the same number, from the stored number upwards, COUNT times or until it is ended; tells
/// each number on standard output once it is stored.

#include <TarnelLinux/SQLiteUserDefaults.hpp>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

int main(int count, char** arguments) {
    if (count != 4) {
        return 2;
    }
    const std::string key = arguments[2];
    const std::int64_t changes = std::strtoll(arguments[3], nullptr, 10);
    tarnel::SQLiteUserDefaults defaults(arguments[1], "org.example.shared");
    const std::int64_t first = defaults.object(key).integer().value_or(0) + 1;
    for (std::int64_t number = first; changes == 0 || number < first + changes; ++number) {
        defaults.set(key, number);
        defaults.set(key + ".twin", number);
        defaults.synchronize();
        std::printf("%lld\n", static_cast<long long>(number));
        std::fflush(stdout);
    }
    return 0;
}
