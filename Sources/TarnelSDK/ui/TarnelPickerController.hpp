#pragma once

#include <TarnelSDK/device/Tarnel.hpp>
#include <TarnelSDK/foundation/Bindable.hpp>
#include <TarnelSDK/platform/Bluetooth.hpp>
#include <TarnelSDK/platform/NotificationCenter.hpp>
#include <TarnelSDK/ui/Elements.hpp>
#include <TarnelSDK/ui/MessagePopUpButton.hpp>
#include <TarnelSDK/ui/ViewController.hpp>

#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace tarnel {

/// The screen on which the user picks a pair of glasses. While it is shown it scans, lists what is found, links what is
/// picked, and leaves once that is connected. It takes over a scan that is under way, and ends its own when it leaves.
class TarnelPickerController : public ViewController, public TableViewDataSource {
public:
    struct ByIdentifier {
        bool operator()(const platform::PeripheralPointer& left, const platform::PeripheralPointer& right) const {
            return left->identifier() < right->identifier();
        }
    };
    using PeripheralSet = std::set<platform::PeripheralPointer, ByIdentifier>;

    TarnelPickerController();
    /// Pickers are not archived: stops the program.
    [[noreturn]] explicit TarnelPickerController(const MessagePackValue& coder);

    // What is drawn: the overlay over the whole screen, the card on it, and from top to bottom in the card the label,
    // the table or the empty state, the separator and the buttons.

    const Overlay& overlay() const { return overlay_; }
    const BackgroundView& backgroundView() const { return backgroundView_; }
    const Label& label() const { return label_; }
    TableViewDataSource& tableView() { return *this; }
    const Separator& separator() const { return separator_; }
    const ButtonBackground& buttonBackground() const { return buttonBackground_; }
    const ButtonStack& buttonStack() const { return buttonStack_; }
    /// Present while the table has no rows.
    std::optional<EmptyState> emptyState() const;

    /// Whether the linked glasses are shown, in place of those found.
    bool isConnected() const { return isConnected_; }
    const PeripheralSet& scannedPeripherals() const { return scannedPeripherals_; }
    /// Glasses in update mode that the scan has met. They are no rows: they cannot be linked.
    const PeripheralSet& dfuPeripherals() const { return dfuPeripherals_; }

    /// The text of the label.
    void setTitle(std::string title) override;
    /// One more button below the others; the first one closes the picker.
    void addAction(PopupAction action);
    void removeAllButtons();
    void buttonTouch(const std::shared_ptr<MessagePopUpButton>& sender);
    /// Ends the scan and takes the picker away, as the close button does.
    void close();

    void loadView() override;
    void setup();
    void viewDidLoad() override;
    void viewWillAppear(bool animated) override;
    void viewWillDisappear(bool animated) override;
    void viewDidDisappear(bool animated) override;

    /// Back to an empty list, without a scan.
    void reset();
    void updateView(bool isConnected);
    /// Tells the user, while the picker is shown, that the glasses have forgotten the pairing.
    void peerRemovedPair(const platform::Notification& note);

    int numberOfSections() const override;
    int numberOfRows(int section) const override;
    std::optional<std::string> titleForHeader(int section) const override;
    TableViewCell cellForRow(int section, int row) const override;
    void didSelectRow(int section, int row) override;
    void willDisplayHeader(TableViewHeader& header, int section) const override;
    void willDisplayCell(TableViewCell& cell, int section, int row) const override;
    double heightForHeader(int section) const override;
    double heightForRow(int section, int row) const override;

private:
    std::weak_ptr<TarnelPickerController> weakSelf();
    platform::PeripheralPointer peripheralOfRow(int section, int row) const;
    void listen();
    void stopListening();
    static void stopScan();
    void watch(const std::shared_ptr<Tarnel>& device);
    void readinessChanged(bool isReady);
    void connectionChanged(bool isConnected);
    void scan();
    void found(const platform::PeripheralPointer& peripheral);
    void linked(const std::shared_ptr<Tarnel>& device);

    ButtonStack buttonStack_;
    Label label_;
    BackgroundView backgroundView_;
    ButtonBackground buttonBackground_;
    Separator separator_;
    Overlay overlay_;
    PeripheralSet scannedPeripherals_;
    std::shared_ptr<BondListener<bool>> connectionListener_;
    bool isConnected_ = false;
    std::shared_ptr<BondListener<bool>> isReadyListener_;
    std::shared_ptr<BondListener<bool>> isEnabledListener_;
    std::shared_ptr<BondListener<bool>> isScanningListener_;
    std::shared_ptr<BondListener<bool>> isLinkedListener_;
    PeripheralSet dfuPeripherals_;
    std::vector<platform::Observation> observations_;
};

} // namespace tarnel
