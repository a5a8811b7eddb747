#pragma once

#include "simulator/SimulatedUnit.h"
#include "support/BusClient.h"
#include "support/TemporaryFolder.h"

#include <functional>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace JobsManagerD {
class JobsManagerDaemon;
class ManagedDevice;
} // namespace JobsManagerD

namespace Testing {

class RunningService;

struct ServiceOptions {
    struct Card {
        std::string id;
        bool isMounted = true;
        bool isReadOnly = false;
    };

    /// In the order of preference of the storage service.
    std::vector<Card> cards = {{"usb1"}};
    std::string primaryDevice;
    /// Fills card folders, or alters the unit, before the service starts.
    std::function<void(RunningService&)> prepare;
};

/// The service on a thread of its own, with a simulated unit as its peers and a client that hears it, on the private
/// bus. Each card is a folder. The log is forgotten first, so that it holds the lines of this service alone.
///
/// To know that the service has dealt with an event of a peer, wait for the log line or the signal that the event
/// causes: the bus keeps no order between two senders.
class RunningService {
public:
    /// Returns when Init of the service has.
    explicit RunningService(ServiceOptions options = {});
    RunningService(const RunningService&) = delete;
    RunningService& operator=(const RunningService&) = delete;
    ~RunningService();

    /// Starts the service and waits for its Init; Launch() does not wait. Only while it is stopped.
    void Start();
    void Launch();
    /// Ends the service as a signal to its process does, except that running tasks are cancelled. Does nothing when it
    /// has ended.
    void Stop();
    /// What Init returned, waiting for it. A service whose Init failed serves nothing, and still takes its Stop().
    int32_t InitResult() const { return _initResult.get(); }

    Simulator::SimulatedUnit& Unit() { return _unit; }
    BusClient& Client() { return _client; }

    /// The folder that is the card, with everything on it.
    const TemporaryFolder& Card(const std::string& id) { return *_cards.at(id); }
    /// Its full path, which is the mount point.
    std::string CardFolder(const std::string& id) { return Card(id).Path(); }
    /// Has the storage service tell of a mounted card; a card with a new ID gets an empty folder.
    void InsertCard(const std::string& id, bool isReadOnly = false);
    /// Has the storage service tell of the unmount and then of the loss of the card. Its folder stays, for a later
    /// InsertCard.
    void PullCard(const std::string& id);
    /// Makes the folder of a card that the storage service does not know yet.
    const TemporaryFolder& MakeCard(const std::string& id);

    /// The device itself, for what no client can do. Only while the service runs and no card comes or goes.
    std::shared_ptr<JobsManagerD::ManagedDevice> Device(const std::string& id) const;
    /// Object path of the device at the service.
    static std::string DevicePath(const std::string& id);
    /// A property of the device.
    WireValue DeviceProperty(const std::string& id, const std::string& name);
    /// Waits until the property of the device has the value; the device may still have to come. False when the deadline
    /// passes first.
    [[nodiscard]] bool WaitForDeviceProperty(const std::string& id, const std::string& name, const WireValue& value);

private:
    void _Serve(std::promise<int32_t> initResult);

    std::map<std::string, std::unique_ptr<TemporaryFolder>> _cards;
    Simulator::SimulatedUnit _unit;
    BusClient _client;
    std::shared_future<int32_t> _initResult;
    const int _stopDescriptor;
    JobsManagerD::JobsManagerDaemon* _daemon = nullptr; ///< set before Init has a result
    std::thread _thread;
};

} // namespace Testing
