#include "simulator/VideoService.h"

namespace Simulator {
namespace {

constexpr const char* controlInterface = "com.corvane.common.Video1.Control";

} // namespace

VideoService::VideoService(EventThread& loop, std::string busAddress)
    : PeerService(loop, std::move(busAddress), "com.corvane.common.Video1") {
    Properties properties;
    for (const std::string activity : {"Recording", "Playback", "PhotoTalk", "AutoLog"}) {
        properties.emplace_back(activity + "State", int32_t{0});
        properties.emplace_back(activity + "Filename", std::string());
    }
    AddObject({RootPath(), controlInterface, properties});
}

void VideoService::Start(const std::string& activity, const std::string& filename, int32_t state) {
    PeerService::Set(RootPath(), {{activity + "State", state}, {activity + "Filename", filename}});
}

void VideoService::Set(const std::string& property, const Value& value) {
    PeerService::Set(RootPath(), {{property, value}});
}

} // namespace Simulator
