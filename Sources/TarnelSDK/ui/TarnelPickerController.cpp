#include <TarnelSDK/foundation/UTF8.hpp>
#include <TarnelSDK/manager/TarnelManager.hpp>
#include <TarnelSDK/platform/Precondition.hpp>
#include <TarnelSDK/ui/AlertController.hpp>
#include <TarnelSDK/ui/Localize.hpp>
#include <TarnelSDK/ui/MainQueue.hpp>
#include <TarnelSDK/ui/TarnelPickerController.hpp>

#include <any>
#include <iterator>
#include <utility>

namespace tarnel {

using platform::PeripheralPointer;

namespace {

constexpr const char* cellIdentifier = "deviceItem";
constexpr double rowHeight = 44;
constexpr double headerHeight = 32;

bool isConnectedNow(const std::shared_ptr<Tarnel>& device) {
    return device && device->isConnected.value();
}

} // namespace

TarnelPickerController::TarnelPickerController() = default;

TarnelPickerController::TarnelPickerController(const MessagePackValue&) {
    preconditionFailure("init(coder:) has not been implemented");
}

std::weak_ptr<TarnelPickerController> TarnelPickerController::weakSelf() {
    return std::static_pointer_cast<TarnelPickerController>(shared_from_this());
}

void TarnelPickerController::loadView() {
    ViewController::loadView();
    setup();
    if (const auto toolkit = platform::Provided<ScreenToolkit>::get()) {
        setView(toolkit->makePickerView(std::static_pointer_cast<TarnelPickerController>(shared_from_this())));
    }
}

void TarnelPickerController::setup() {
    if (title().empty()) {
        setTitle(Localize::string("pickerTitle"));
    }
    addAction({.title = Localize::string("pickerClose"), .handler = [weak = weakSelf()](const PopupAction&) {
                   if (const auto self = weak.lock()) {
                       self->close();
                   }
               }});
}

void TarnelPickerController::setTitle(std::string title) {
    label_.text = title;
    ViewController::setTitle(std::move(title));
}

void TarnelPickerController::addAction(PopupAction action) {
    buttonStack_.push_back(std::make_shared<MessagePopUpButton>(std::move(action)));
    reload();
}

void TarnelPickerController::removeAllButtons() {
    buttonStack_.clear();
    reload();
}

void TarnelPickerController::buttonTouch(const std::shared_ptr<MessagePopUpButton>& sender) {
    // A copy: the handler may take the button away.
    const auto action = sender ? sender->action : std::nullopt;
    if (action && action->handler) {
        action->handler(*action);
    }
}

void TarnelPickerController::close() {
    if (isShown()) {
        stopScan();
    }
    dismiss(true);
}

void TarnelPickerController::viewDidLoad() {
    ViewController::viewDidLoad();
    reload();
}

void TarnelPickerController::viewWillAppear(bool animated) {
    ViewController::viewWillAppear(animated);
    auto& manager = TarnelManager::shared();
    const auto device = manager.currentDevice();
    listen();
    if (isConnectedNow(device)) {
        watch(device);
        updateView(true);
        return;
    }
    reset();
    watch(device);
    if (manager.isReady.value()) {
        updateView(false);
    }
}

void TarnelPickerController::viewWillDisappear(bool animated) {
    ViewController::viewWillDisappear(animated);
    stopListening();
}

void TarnelPickerController::viewDidDisappear(bool animated) {
    ViewController::viewDidDisappear(animated);
    isConnected_ = false;
    scannedPeripherals_.clear();
    dfuPeripherals_.clear();
}

/// From now on until `viewWillDisappear`.
void TarnelPickerController::listen() {
    const auto weak = weakSelf();
    auto& center = platform::Platform::current().notificationCenter();
    observations_.clear();
    // Posted on other threads, on which nobody may hold the last reference to a screen.
    observations_.push_back(center.observe(Bluetooth::peerRemovedPairingInfo, [weak](const auto& note) {
        onMainQueue(weak, [note](TarnelPickerController& self) { self.peerRemovedPair(note); });
    }));
    observations_.push_back(center.observe(Bluetooth::scannedPeripheralChange, [weak](const auto& note) {
        const auto entry = note.userInfo.find("peripheral");
        if (entry == note.userInfo.end()) {
            return;
        }
        if (const auto* peripheral = std::any_cast<PeripheralPointer>(&entry->second); peripheral && *peripheral) {
            onMainQueue(weak, [met = *peripheral](TarnelPickerController& self) {
                if (self.isShown()) {
                    self.dfuPeripherals_.insert(met);
                }
            });
        }
    }));
    const auto listener = [&weak](auto change) {
        return std::make_shared<BondListener<bool>>([weak, change](bool value) {
            if (const auto self = weak.lock(); self && self->isShown()) {
                change(*self, value);
            }
        });
    };
    auto& manager = TarnelManager::shared();
    isReadyListener_ = listener([](auto& self, bool isReady) { self.readinessChanged(isReady); });
    manager.isReady.bind(isReadyListener_, false);
    // The scan needs both, and which of them comes first is open.
    isEnabledListener_ = listener([](auto& self, bool isEnabled) {
        if (isEnabled) {
            self.readinessChanged(TarnelManager::shared().isReady.value());
        }
    });
    manager.isBluetoothEnabled.bind(isEnabledListener_, false);
    isScanningListener_ = listener([](auto& self, bool) { self.reload(); });
    manager.isScanning.bind(isScanningListener_, false);
    // A scan reports each pair once, and may have met the glasses while they were still linked.
    isLinkedListener_ = listener([](auto& self, bool isLinked) {
        if (!isLinked) {
            self.stopScan();
            self.readinessChanged(TarnelManager::shared().isReady.value());
        }
    });
    manager.isLinked.bind(isLinkedListener_, false);
}

void TarnelPickerController::watch(const std::shared_ptr<Tarnel>& device) {
    connectionListener_ = nullptr;
    if (!device) {
        return;
    }
    connectionListener_ = std::make_shared<BondListener<bool>>([weak = weakSelf()](bool isConnected) {
        if (const auto self = weak.lock(); self && self->isShown()) {
            self->connectionChanged(isConnected);
        }
    });
    device->isConnected.bind(connectionListener_, false);
}

void TarnelPickerController::readinessChanged(bool isReady) {
    auto& manager = TarnelManager::shared();
    if (isReady) {
        updateView(isConnectedNow(manager.currentDevice()));
        return;
    }
    // The scan has ended without a word, and what it found is not to be reached.
    manager.stopScan();
    isConnected_ = false;
    scannedPeripherals_.clear();
    reload();
}

void TarnelPickerController::connectionChanged(bool isConnected) {
    updateView(isConnected);
    if (isConnected && presentingViewController()) {
        dismiss(true);
    }
}

void TarnelPickerController::stopListening() {
    observations_.clear();
    connectionListener_ = nullptr;
    isReadyListener_ = nullptr;
    isEnabledListener_ = nullptr;
    isScanningListener_ = nullptr;
    isLinkedListener_ = nullptr;
    stopScan();
}

void TarnelPickerController::stopScan() {
    if (auto& manager = TarnelManager::shared(); manager.isScanning.value()) {
        manager.stopScan();
    }
}

void TarnelPickerController::reset() {
    connectionListener_ = nullptr;
    stopScan();
    isConnected_ = false;
    scannedPeripherals_.clear();
    dfuPeripherals_.clear();
    reload();
}

void TarnelPickerController::updateView(bool isConnected) {
    auto& manager = TarnelManager::shared();
    isConnected_ = isConnected;
    if (isConnected) {
        manager.stopScan();
        scannedPeripherals_.clear();
    }
    if (!manager.isScanning.value()) {
        scan();
    }
    reload();
}

void TarnelPickerController::scan() {
    TarnelManager::shared().startScan([weak = weakSelf()](const PeripheralPointer& peripheral) {
        onMainQueue(weak, [peripheral](TarnelPickerController& self) { self.found(peripheral); });
    });
}

void TarnelPickerController::found(const PeripheralPointer& peripheral) {
    if (!isShown()) {
        return;
    }
    auto& manager = TarnelManager::shared();
    const auto device = manager.currentDevice();
    if (device && device->peripheral() == peripheral) {
        if (peripheral->state() != platform::PeripheralState::disconnected) {
            return;
        }
        manager.unlink();
    }
    scannedPeripherals_.insert(peripheral);
    reload();
}

PeripheralPointer TarnelPickerController::peripheralOfRow(int section, int row) const {
    if (isConnected_ || section != 0 || row < 0 || row >= numberOfRows(section)) {
        return nullptr;
    }
    return *std::next(scannedPeripherals_.begin(), row);
}

void TarnelPickerController::didSelectRow(int section, int row) {
    if (const auto peripheral = peripheralOfRow(section, row)) {
        TarnelManager::shared().link(peripheral, [weak = weakSelf()](const std::shared_ptr<Tarnel>& device) {
            onMainQueue(weak, [device](TarnelPickerController& self) { self.linked(device); });
        });
    }
}

void TarnelPickerController::linked(const std::shared_ptr<Tarnel>& device) {
    if (!isShown()) {
        return;
    }
    watch(device);
    if (isConnectedNow(device)) {
        connectionChanged(true);
    }
}

void TarnelPickerController::peerRemovedPair(const platform::Notification&) {
    if (!isShown()) {
        return;
    }
    const auto alert = std::make_shared<AlertController>(
        Localize::string("peerErrorTitle"), Localize::string("peerErrorMessage"), AlertController::Style::alert);
    alert->addAction({.title = Localize::string("ok"), .style = AlertAction::Style::default_});
    present(alert, true);
}

std::optional<EmptyState> TarnelPickerController::emptyState() const {
    if (numberOfRows(0) > 0) {
        return std::nullopt;
    }
    auto& manager = TarnelManager::shared();
    if (!manager.isReady.value()) {
        return EmptyState{.text = Localize::string("pickerBluetoothOff"), .hint = {}, .isBusy = false};
    }
    return EmptyState{.text = Localize::string("pickerSearching"),
                      .hint = Localize::string("pickerSearchingHint"),
                      .isBusy = manager.isScanning.value()};
}

int TarnelPickerController::numberOfSections() const {
    return 1;
}

int TarnelPickerController::numberOfRows(int section) const {
    if (section != 0) {
        return 0;
    }
    if (isConnected_) {
        return TarnelManager::shared().currentDevice() ? 1 : 0;
    }
    return static_cast<int>(scannedPeripherals_.size());
}

std::optional<std::string> TarnelPickerController::titleForHeader(int section) const {
    return isConnected_ || section != 0 ? std::nullopt : std::optional(Localize::string("pickerFoundNearby"));
}

TableViewCell TarnelPickerController::cellForRow(int section, int row) const {
    TableViewCell cell{.reuseIdentifier = cellIdentifier, .text = {}, .tint = std::nullopt};
    if (const auto peripheral = peripheralOfRow(section, row)) {
        const auto name = peripheral->name();
        cell.text = name && !name->empty() && isValidUTF8(*name) ? *name : Localize::string("recoveredDevice");
    } else if (isConnected_ && section == 0 && row == 0) {
        const auto device = TarnelManager::shared().currentDevice();
        cell.text = device ? device->getName() : std::string();
        cell.accessory = Accessory::checkmark;
        cell.tint = SystemColor::darkGray;
    }
    return cell;
}

void TarnelPickerController::willDisplayHeader(TableViewHeader& header, int) const {
    header.color = SystemColor::secondaryLabel;
}

void TarnelPickerController::willDisplayCell(TableViewCell& cell, int, int) const {
    cell.background = SystemColor::clear;
}

double TarnelPickerController::heightForHeader(int section) const {
    return titleForHeader(section) ? headerHeight : 0;
}

double TarnelPickerController::heightForRow(int, int) const {
    return rowHeight;
}

} // namespace tarnel
