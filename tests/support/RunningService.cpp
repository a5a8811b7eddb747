#include "support/RunningService.h"

#include "daemon/JobsManagerDaemon.h"
#include "device/ManagedDevice.h"
#include "support/LogCapture.h"
#include "support/PrivateBus.h"

#include <gtest/gtest.h>
#include <sys/eventfd.h>
#include <unistd.h>

using Simulator::Check;
using Simulator::Out;

namespace Testing {
namespace {

int OnStop(sd_event_source* source, int, uint32_t, void*) noexcept {
    return sd_event_exit(sd_event_source_get_event(source), 0);
}

} // namespace

RunningService::RunningService(ServiceOptions options)
    : _unit(PrivateBus::Instance().Address()), _stopDescriptor(eventfd(0, EFD_CLOEXEC)) {
    LogCapture::Take();
    std::vector<std::string> ids;
    for (const auto& [id, isMounted, isReadOnly] : options.cards) {
        ids.push_back(id);
        _unit.Storage().AddCard(id, MakeCard(id).Path(), {isMounted, isReadOnly});
    }
    _unit.Storage().SetAvailableDevices(ids);
    _unit.Storage().SetPrimaryDevice(options.primaryDevice);
    if (options.prepare)
        options.prepare(*this);
    Start();
}

RunningService::~RunningService() {
    Stop();
    close(_stopDescriptor);
}

void RunningService::Start() {
    Launch();
    InitResult();
}

void RunningService::Launch() {
    std::promise<int32_t> initResult;
    _initResult = initResult.get_future();
    _thread = std::thread(&RunningService::_Serve, this, std::move(initResult));
}

void RunningService::Stop() {
    if (!_thread.joinable())
        return;
    eventfd_write(_stopDescriptor, 1);
    _thread.join();
    // The bus may still have to notice, and until then the next service could not take the name.
    if (!_client.WaitUntil([this] { return !_client.HasService(); }))
        ADD_FAILURE() << "the bus keeps the name of the stopped service";
}

void RunningService::_Serve(std::promise<int32_t> initResult) {
    Simulator::Event event;
    Check(sd_event_default(Out(event)), "make the service's loop");
    Check(sd_event_add_io(event.get(), nullptr, _stopDescriptor, EPOLLIN, OnStop, nullptr), "wait for the stop");
    JobsManagerD::JobsManagerDaemon daemon(event.get());
    _daemon = &daemon;
    const int32_t result = daemon.Init();
    initResult.set_value(result);
    if (result >= 0)
        Check(sd_event_loop(event.get()), "serve");
    eventfd_t count = 0;
    eventfd_read(_stopDescriptor, &count);
    // Workers end with the process of the service; here the process goes on.
    for (const auto& [id, folder] : _cards)
        if (const auto device = daemon.FindDevice(id)) {
            std::promise<void> ended;
            device->Cancel([&ended] { ended.set_value(); });
            ended.get_future().wait();
        }
}

const TemporaryFolder& RunningService::MakeCard(const std::string& id) {
    auto& folder = _cards[id];
    if (!folder)
        folder = std::make_unique<TemporaryFolder>();
    return *folder;
}

void RunningService::InsertCard(const std::string& id, bool isReadOnly) {
    _unit.Storage().InsertCard(id, MakeCard(id).Path(), isReadOnly);
}

void RunningService::PullCard(const std::string& id) {
    _unit.Storage().UnmountCard(id);
    _unit.Storage().RemoveCard(id);
}

std::shared_ptr<JobsManagerD::ManagedDevice> RunningService::Device(const std::string& id) const {
    return _daemon->FindDevice(id);
}

std::string RunningService::DevicePath(const std::string& id) {
    return std::string(JobsManagerD::managerPath) + "/" + id;
}

WireValue RunningService::DeviceProperty(const std::string& id, const std::string& name) {
    return _client.GetProperty(DevicePath(id), JobsManagerD::deviceInterface, name);
}

bool RunningService::WaitForDeviceProperty(const std::string& id, const std::string& name, const WireValue& value) {
    return _client.WaitUntil([&] {
        const Reply reply = _client.CallOn(DevicePath(id), "org.freedesktop.DBus.Properties", "Get",
                                           {std::string(JobsManagerD::deviceInterface), name});
        return !reply.IsError() && reply.Arguments().values.at(0) == value;
    });
}

} // namespace Testing
