#include <gtest/gtest.h>

#include <QApplication>
#include <array>
#include <memory>

namespace tarnel {
namespace {

/// The one QApplication, without a display unless one is asked for.
class Application : public ::testing::Environment {
public:
    void SetUp() override {
        if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM")) {
            qputenv("QT_QPA_PLATFORM", "offscreen");
        }
        // What the desktop of the machine prefers is not tested.
        qputenv("QT_QPA_PLATFORMTHEME", "none");
        QApplication::setStyle(QStringLiteral("fusion"));
        application_ = std::make_unique<QApplication>(count_, arguments_.data());
    }
    void TearDown() override { application_.reset(); }

private:
    int count_ = 1;
    std::array<char, 5> name_{"test"};
    std::array<char*, 2> arguments_{name_.data(), nullptr};
    std::unique_ptr<QApplication> application_;
};

const auto* const application = ::testing::AddGlobalTestEnvironment(new Application); // owned by the framework

} // namespace
} // namespace tarnel
