#include "FakeBlueZ.hpp"

#include <chrono>
#include <utility>

/// What applications offer as peripherals.
namespace tarnel::test {
namespace {

FakeAnswer awaited(std::future<FakeAnswer> answer) {
    if (answer.wait_for(std::chrono::seconds(30)) != std::future_status::ready) {
        return {"no answer", {}};
    }
    return answer.get();
}

/// Fulfils a promise.
FakeGattServer::Answered fulfilled(const std::shared_ptr<std::promise<FakeAnswer>>& promise) {
    return [promise](FakeAnswer answer) { promise->set_value(std::move(answer)); };
}

} // namespace

void FakeBlueZ::refuseAdvertisements(int refusals) {
    sync([&] { server_.refusals = refusals; });
}

void FakeBlueZ::answerAdvertisementsLate(int answers) {
    sync([&] { server_.lateAnswers = answers; });
}

void FakeBlueZ::releaseAdvertisement() {
    sync([&] { server_.release(); });
}

std::optional<FakeAdvertisement> FakeBlueZ::advertisement() {
    std::optional<FakeAdvertisement> copy;
    sync([&] { copy = server_.advertisement; });
    return copy;
}

std::vector<std::string> FakeBlueZ::publishedServices() {
    std::vector<std::string> copy;
    sync([&] { copy = server_.services; });
    return copy;
}

std::vector<std::string> FakeBlueZ::publishedFlags(const std::string& uuid) {
    std::vector<std::string> copy;
    sync([&] { copy = server_.flags[uuid]; });
    return copy;
}

std::future<FakeAnswer> FakeBlueZ::centralBeginsToRead(const std::string& address, const std::string& uuid,
                                                       FakeGattServer::Options options) {
    const auto promise = std::make_shared<std::promise<FakeAnswer>>();
    sync([&] { server_.read(devicePath(*devices_.at(address)), uuid, std::move(options), fulfilled(promise)); });
    return promise->get_future();
}

FakeAnswer FakeBlueZ::centralReads(const std::string& address, const std::string& uuid,
                                   FakeGattServer::Options options) {
    return awaited(centralBeginsToRead(address, uuid, std::move(options)));
}

FakeAnswer FakeBlueZ::centralWrites(const std::string& address, const std::string& uuid, const Bytes& value,
                                    FakeGattServer::Options options) {
    const auto promise = std::make_shared<std::promise<FakeAnswer>>();
    sync(
        [&] { server_.write(devicePath(*devices_.at(address)), uuid, value, std::move(options), fulfilled(promise)); });
    return awaited(promise->get_future());
}

void FakeBlueZ::centralSubscribes(const std::string& uuid, bool isOn) {
    sync([&] { server_.subscribe(uuid, isOn); });
}

std::vector<Bytes> FakeBlueZ::notified(const std::string& uuid) {
    std::vector<Bytes> copy;
    sync([&] { copy = server_.notified[uuid]; });
    return copy;
}

std::string FakeBlueZ::alias() {
    std::string copy;
    sync([&] { copy = alias_; });
    return copy;
}

bool FakeBlueZ::isDefaultAgent() {
    bool isDefault = false;
    sync([&] { isDefault = hasDefaultAgent_; });
    return isDefault;
}

} // namespace tarnel::test
