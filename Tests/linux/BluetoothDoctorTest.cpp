#include "Machine.hpp"

#include <TarnelLinux/BluetoothDoctor.hpp>
#include <TarnelLinux/SQLiteFile.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <string_view>
#include <system_error>
#include <thread>

namespace tarnel::test {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using Result = Finding::Result;

int listenAt(const std::string& path) {
    const int listening = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un name{};
    name.sun_family = AF_UNIX;
    path.copy(name.sun_path, sizeof name.sun_path - 1);
    if (::bind(listening, reinterpret_cast<const sockaddr*>(&name), sizeof name) != 0 || ::listen(listening, 5) != 0) {
        throw std::system_error(errno, std::generic_category(), path);
    }
    return listening;
}

/// A machine whose Bluetooth is well, until something is broken.
class BluetoothDoctor : public testing::Test {
protected:
    BluetoothDoctor() {
        write("sys/class/rfkill/rfkill0/type", "bluetooth\n");
        write("sys/class/rfkill/rfkill0/name", "hci0\n");
        write("sys/class/rfkill/rfkill0/soft", "0\n");
        write("sys/class/rfkill/rfkill0/hard", "0\n");
        write("sys/class/rfkill/rfkill1/type", "wlan\n");
        write("sys/class/rfkill/rfkill1/soft", "1\n");
        write("sys/class/bluetooth/hci0/address", "");
        write("usr/libexec/bluetooth/bluetoothd", "");
        write("usr/bin/apt-get", "");
        write("etc/bluetooth/main.conf", "[General]\n#Name = x\n[GATT]\nChannels = 1\n");
        fs::create_directories(root.path() / "var/lib/bluetooth/00:AA:01:00:00:00/cache");
    }

    void write(const std::string& name, const std::string& text) const {
        fs::create_directories((root.path() / name).parent_path());
        writeText(root / name, text);
    }

    void examine(const std::string& busAddress) {
        const auto start = std::chrono::steady_clock::now();
        machine.root = root.path();
        machine.busAddress = busAddress;
        findings.clear();
        for (auto& finding : examineBluetooth(machine)) {
            EXPECT_EQ(finding.result == Result::problem, !finding.remedy.empty()) << finding.check;
            EXPECT_FALSE(finding.text.empty()) << finding.check;
            order.push_back(finding.check);
            findings[finding.check] = std::move(finding);
        }
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
    }

    /// Examines with this machine's own bus and daemon.
    void examine() {
        if (!bus) {
            bus = std::make_unique<PrivateBus>(isForbidden);
            bluez = std::make_unique<FakeBlueZ>(bus->address());
            if (hasAdapter) {
                bluez->addAdapter("hci0", isPowered);
            }
            if (hasDaemon) {
                bluez->start();
            }
            for (const auto& device : devices) {
                bluez->addDevice(device);
            }
        }
        examine(bus->address());
    }

    std::vector<std::string> checksWith(Result result) const {
        std::vector<std::string> names;
        for (const auto& [check, finding] : findings) {
            if (finding.result == result) {
                names.push_back(check);
            }
        }
        return names;
    }
    std::vector<std::string> problems() const { return checksWith(Result::problem); }
    std::string text(const std::string& check) const { return findings.at(check).text; }
    std::string remedy(const std::string& check) const { return findings.at(check).remedy; }

    const TemporaryFolder root;
    ExaminedMachine machine{.patience = std::chrono::milliseconds(500)};
    bool isForbidden = false;
    bool hasDaemon = true;
    bool hasAdapter = true;
    bool isPowered = true;
    std::vector<FakeDevice> devices;
    std::unique_ptr<PrivateBus> bus;
    std::unique_ptr<FakeBlueZ> bluez;
    std::map<std::string, Finding> findings;
    std::vector<std::string> order;
};

TEST_F(BluetoothDoctor, findsNothingWrongWithAMachineThatIsWell) {
    examine();
    EXPECT_THAT(problems(), IsEmpty());
    EXPECT_THAT(checksWith(Result::notChecked), ElementsAre("cache", "glasses"));
    EXPECT_THAT(order, ElementsAre("bus", "daemon", "permission", "switch", "adapter", "version", "power", "bonds",
                                   "glasses", "cache", "channels"));
    EXPECT_EQ(text("adapter"), "hci0 (00:AA:01:00:00:00)");
}

TEST_F(BluetoothDoctor, saysThatThereIsNoBus) {
    examine("unix:path=" + root / "nowhere");
    EXPECT_THAT(problems(), ElementsAre("bus"));
    EXPECT_THAT(text("bus"), HasSubstr("No such file or directory"));
    EXPECT_EQ(remedy("bus"), "sudo systemctl start dbus");
    EXPECT_EQ(text("daemon"), "the bus cannot be used");
    EXPECT_EQ(findings.at("adapter").result, Result::notChecked);
}

TEST_F(BluetoothDoctor, knowsAContainer) {
    write(".dockerenv", "");
    machine.busAddress = std::nullopt;
    examine("unix:path=" + root / "nowhere");
    EXPECT_THAT(problems(), ElementsAre("bus"));
    EXPECT_EQ(text("bus"), "this is a container without a system bus (D-Bus), so without Bluetooth");
    EXPECT_THAT(remedy("bus"), HasSubstr("-v /run/dbus:/run/dbus"));
}

TEST_F(BluetoothDoctor, looksForTheBusBelowTheRoot) {
    ::unsetenv("DBUS_SYSTEM_BUS_ADDRESS");
    machine.root = root.path();
    const auto found = examineBluetooth(machine);
    EXPECT_THAT(found.front().text, HasSubstr(root / "run/dbus/system_bus_socket"));
}

TEST_F(BluetoothDoctor, doesNotWaitForABusThatIsSilent) {
    const std::string path = root / "bus";
    const int silent = listenAt(path);
    examine("unix:path=" + path);
    EXPECT_THAT(problems(), ElementsAre("bus"));
    EXPECT_EQ(remedy("bus"), "sudo systemctl restart dbus");
    ::close(silent);
    examine("unix:path=" + path);
    EXPECT_EQ(remedy("bus"), "sudo systemctl start dbus");
}

TEST_F(BluetoothDoctor, doesNotWaitForABusThatRefusesAndFallsSilent) {
    const std::string path = root / "bus";
    const int listening = listenAt(path);
    std::thread refusing([&] {
        const int client = ::accept(listening, nullptr, nullptr);
        std::array<char, 64> line{};
        EXPECT_GT(::recv(client, line.data(), line.size(), 0), 0);
        constexpr std::string_view answer = "REJECTED EXTERNAL\r\n";
        EXPECT_EQ(::send(client, answer.data(), answer.size(), MSG_NOSIGNAL), static_cast<ssize_t>(answer.size()));
        EXPECT_EQ(::recv(client, line.data(), line.size(), 0), 0) << "it leaves";
        ::close(client);
    });
    examine("unix:path=" + path);
    refusing.join();
    ::close(listening);
    EXPECT_THAT(problems(), ElementsAre("bus"));
    EXPECT_THAT(text("bus"), HasSubstr("does not accept this user"));
}

TEST_F(BluetoothDoctor, tellsADaemonThatDoesNotRunFromOneThatIsNotInstalled) {
    hasDaemon = false;
    examine();
    EXPECT_THAT(problems(), ElementsAre("daemon"));
    EXPECT_EQ(remedy("daemon"), "sudo systemctl enable --now bluetooth");
    fs::remove(root.path() / "usr/libexec/bluetooth/bluetoothd");
    examine();
    EXPECT_THAT(problems(), ElementsAre("daemon"));
    EXPECT_EQ(remedy("daemon"), "sudo apt-get install bluez");
    EXPECT_EQ(text("adapter"), "the Bluetooth service cannot be asked");
}

TEST_F(BluetoothDoctor, namesAPolicyThatForbidsTheDaemon) {
    isForbidden = true;
    examine();
    EXPECT_THAT(problems(), ElementsAre("permission"));
    EXPECT_THAT(remedy("permission"), HasSubstr("sudo usermod -aG bluetooth"));
}

TEST_F(BluetoothDoctor, findsASwitchThatBlocksTheRadio) {
    isPowered = false;
    write("sys/class/rfkill/rfkill0/soft", "1\n");
    examine();
    EXPECT_THAT(problems(), ElementsAre("switch"));
    EXPECT_EQ(remedy("switch"), "sudo rfkill unblock bluetooth");
    EXPECT_EQ(findings.at("power").result, Result::notChecked);
    write("sys/class/rfkill/rfkill0/hard", "1\n");
    examine();
    EXPECT_THAT(text("switch"), HasSubstr("key or switch of the machine"));
}

TEST_F(BluetoothDoctor, saysWhetherTheKernelHasAnAdapterThatTheDaemonHasNot) {
    hasAdapter = false;
    examine();
    EXPECT_THAT(problems(), ElementsAre("adapter"));
    EXPECT_EQ(remedy("adapter"), "sudo systemctl restart bluetooth");
    fs::remove_all(root.path() / "sys/class/bluetooth/hci0");
    examine();
    EXPECT_THAT(text("adapter"), HasSubstr("this machine has no Bluetooth adapter"));
    machine.adapter = "hci7";
    examine();
    EXPECT_EQ(text("adapter"), "there is no Bluetooth adapter hci7");
}

TEST_F(BluetoothDoctor, findsAnAdapterThatIsOff) {
    isPowered = false;
    examine();
    EXPECT_THAT(problems(), ElementsAre("power"));
    EXPECT_EQ(remedy("power"), "bluetoothctl power on");
    bluez->setPowered("hci0", true);
    examine();
    EXPECT_THAT(problems(), IsEmpty());
}

TEST_F(BluetoothDoctor, findsADaemonThatIsTooOld) {
    bus = std::make_unique<PrivateBus>();
    bluez = std::make_unique<FakeBlueZ>(bus->address());
    bluez->forbidPeripherals();
    bluez->addAdapter("hci0");
    bluez->start();
    examine();
    EXPECT_THAT(problems(), ElementsAre("version"));
    EXPECT_THAT(text("version"), HasSubstr("GattManager1"));
}

TEST_F(BluetoothDoctor, findsABondWithGlassesThatAreNotLinked) {
    auto device = glasses();
    device.isBonded = true;
    devices = {device};
    examine();
    EXPECT_THAT(problems(), ElementsAre("bonds"));
    EXPECT_EQ(remedy("bonds"), std::string("bluetoothctl remove ") + glassesAddress);
    machine.linkedAddress = glassesAddress;
    examine();
    EXPECT_THAT(problems(), IsEmpty());
    EXPECT_THAT(text("glasses"), HasSubstr("is known, and not connected"));
}

TEST_F(BluetoothDoctor, findsAConnectionThatIsHalfOpen) {
    auto device = glasses();
    device.isBonded = true;
    device.isConnected = true;
    devices = {device};
    machine.linkedAddress = glassesAddress;
    examine();
    EXPECT_THAT(problems(), ElementsAre("glasses"));
    EXPECT_THAT(text("glasses"), HasSubstr("only half"));
    EXPECT_EQ(remedy("glasses"), std::string("bluetoothctl disconnect ") + glassesAddress);
}

TEST_F(BluetoothDoctor, findsAnotherProgramThatHoldsTheGlasses) {
    Machine other;
    other.open();
    other.peripheral->setNotifyValue(true, other.in);
    ASSERT_TRUE(other.application->await("subscribed"));
    machine.linkedAddress = glassesAddress;
    examine(other.bus.address());
    EXPECT_THAT(problems(), ElementsAre("glasses"));
    EXPECT_THAT(text("glasses"), HasSubstr("another program"));
}

TEST_F(BluetoothDoctor, saysThatGlassesAreFoundWhenTheyAreNear) {
    machine.linkedAddress = glassesAddress;
    examine();
    EXPECT_THAT(problems(), IsEmpty());
    EXPECT_THAT(text("glasses"), HasSubstr("is not known to the Bluetooth service"));
}

TEST_F(BluetoothDoctor, findsACacheWithoutTheServiceOfTheGlasses) {
    machine.linkedAddress = glassesAddress;
    const std::string file = std::string("var/lib/bluetooth/00:AA:01:00:00:00/cache/") + glassesAddress;
    write(file, "[General]\nName=Glasses\n[Attributes]\n0001=2800:0005:1801\n");
    examine();
    EXPECT_THAT(problems(), ElementsAre("cache"));
    EXPECT_EQ(remedy("cache"), std::string("bluetoothctl remove ") + glassesAddress);
    write(file, "[Attributes]\n0001=2800:0005:1801\n0028=2800:0030:39191400-BFC2-4BEE-A81A-28C23B6AC84A\n");
    examine();
    EXPECT_THAT(problems(), IsEmpty());
    write(file, "[General]\nName=Glasses\n");
    examine();
    EXPECT_THAT(problems(), IsEmpty());
}

TEST_F(BluetoothDoctor, findsSeveralChannelsThatMayReorderValues) {
    write("etc/bluetooth/main.conf", "[GATT]\n#Channels = 1\n Channels = 3 \r\n");
    examine();
    EXPECT_THAT(problems(), ElementsAre("channels"));
    EXPECT_THAT(text("channels"), HasSubstr("3 ATT channels"));
    write("etc/bluetooth/main.conf", "[General]\nChannels = 3\n[GATT]\n#Channels = 3\n");
    examine();
    EXPECT_THAT(problems(), IsEmpty());
    fs::remove(root.path() / "etc/bluetooth/main.conf");
    examine();
    EXPECT_EQ(findings.at("channels").result, Result::notChecked);
}

TEST_F(BluetoothDoctor, survivesFilesThatAreNonsense) {
    machine.linkedAddress = glassesAddress;
    const std::string nonsense =
        "[[\0]=\n====\n[GATT]\nChannels=999999999999999999\n\xff\xfe=" + std::string(3000, '[');
    for (const std::string name : {"etc/bluetooth/main.conf", "sys/class/rfkill/rfkill0/soft",
                                   "sys/class/rfkill/rfkill0/type", "var/lib/bluetooth/00:AA:01:00:00:00/cache/x"}) {
        write(name, nonsense);
    }
    fs::create_directories(root.path() / "var/lib/bluetooth/00:AA:01:00:00:00/cache" / glassesAddress);
    examine();
    EXPECT_THAT(problems(), IsEmpty());
    EXPECT_EQ(findings.at("cache").result, Result::notChecked);
}

TEST_F(BluetoothDoctor, looksAtSettings) {
    const fs::path folder = root.path() / "config/org.example";
    EXPECT_EQ(examineSettings(folder).result, Result::ok);
    fs::create_directories(folder);
    EXPECT_EQ(examineSettings(folder).result, Result::ok);
    writeText(folder / "settings.sqlite", std::string(4096, 'x'));
    const auto damaged = examineSettings(folder);
    EXPECT_EQ(damaged.result, Result::problem);
    EXPECT_THAT(damaged.remedy, HasSubstr("mv '"));
    EXPECT_EQ(readText(folder / "settings.sqlite"), std::string(4096, 'x'));
    EXPECT_EQ(examineSettings(std::nullopt).result, Result::problem);
    writeText(root / "file", "");
    const auto inTheWay = examineSettings(root.path() / "file/org.example");
    EXPECT_EQ(inTheWay.result, Result::problem);
    EXPECT_EQ(inTheWay.remedy, "mv '" + (root / "file") + "' '" + (root / "file") + ".old'");
}

TEST_F(BluetoothDoctor, tellsSettingsThatAreHeldFromThoseThatCannotBeUsed) {
    const fs::path folder = root.path() / "config/org.example";
    const fs::path file = folder / "settings.sqlite";
    fs::create_directories(folder);
    {
        SQLiteFile other(file, std::chrono::seconds(1));
        other.run("CREATE TABLE defaults (key TEXT)");
        other.run("BEGIN EXCLUSIVE");
        const auto held = examineSettings(folder);
        EXPECT_EQ(held.result, Result::notChecked);
        EXPECT_THAT(held.text, HasSubstr("is held by another process"));
        other.run("ROLLBACK");
        EXPECT_EQ(examineSettings(folder).result, Result::ok);
        other.run("PRAGMA user_version = 99");
    }
    const auto later = examineSettings(folder);
    EXPECT_EQ(later.result, Result::problem);
    EXPECT_THAT(later.text, HasSubstr("was written by a later version of the program"));
    EXPECT_EQ(later.remedy, "mv '" + file.string() + "' '" + file.string() + ".later'");
    fs::remove(file);
    fs::create_directory(file);
    const auto inTheWay = examineSettings(folder);
    EXPECT_EQ(inTheWay.result, Result::problem);
    EXPECT_THAT(inTheWay.text, testing::Not(HasSubstr("another process")));
}

TEST_F(BluetoothDoctor, takesTheAdaptersAddressInSmallLettersToo) {
    machine.adapter = "00:aa:01:00:00:00";
    examine();
    EXPECT_THAT(problems(), IsEmpty());
    machine.adapter = "00:aa:01:00:00:0";
    examine();
    EXPECT_THAT(problems(), testing::Contains("adapter"));
}

/// Exits with 1 when the settings are a problem to somebody without rights of their own, and says what mends it.
[[noreturn]] void examineAsNobody(const fs::path& folder) {
    constexpr uid_t nobody = 65534;
    if (::geteuid() == 0 && ::setresuid(nobody, nobody, nobody) != 0) {
        std::exit(2);
    }
    const auto found = examineSettings(folder);
    std::fputs(found.remedy.c_str(), stderr);
    std::exit(found.result == Result::problem ? 1 : 0);
}

TEST_F(BluetoothDoctor, changesTheOwnerOfNothingButTheApplicationsFolder) {
    const fs::path closed = root.path() / "closed";
    const fs::path folder = closed / "config/org.example";
    fs::create_directories(closed);
    fs::permissions(root.path(), fs::perms(0755));
    fs::permissions(closed, fs::perms(0555));
    const std::string own = "'" + folder.string() + "'";
    EXPECT_EXIT(examineAsNobody(folder), testing::ExitedWithCode(1),
                "^sudo install -d -o \"\\$USER\" -m 700 " + own + "$");
    fs::permissions(closed, fs::perms(0755));
    fs::create_directories(folder);
    fs::permissions(folder, fs::perms(0555));
    EXPECT_EXIT(examineAsNobody(folder), testing::ExitedWithCode(1),
                "^sudo chown -R \"\\$USER\" " + own + " && chmod -R u\\+rwX " + own + "$");
}

} // namespace
} // namespace tarnel::test
