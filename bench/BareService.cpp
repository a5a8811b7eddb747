#include <cstring>
#include <systemd/sd-bus.h>
#include <systemd/sd-daemon.h>

// A service that does nothing but answer, with two methods of the jobs service's signatures. With the argument
// "notify" it only tells that it is ready.

namespace {

constexpr const char* name = "com.corvane.bench.Bare1";
constexpr const char* path = "/com/corvane/bench/Bare1";

int OnGetJobName(sd_bus_message* message, void*, sd_bus_error*) {
    const char* device = nullptr;
    const char* job = nullptr;
    const int result = sd_bus_message_read(message, "ss", &device, &job);
    return result < 0 ? result : sd_bus_reply_method_return(message, "(is)", 0, "Name 00000000");
}

int OnSetJobName(sd_bus_message* message, void*, sd_bus_error*) {
    const char* device = nullptr;
    const char* job = nullptr;
    const char* jobName = nullptr;
    const int result = sd_bus_message_read(message, "sss", &device, &job, &jobName);
    return result < 0 ? result : sd_bus_reply_method_return(message, "i", 0);
}

const sd_bus_vtable table[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD("GetJobName", "ss", "(is)", OnGetJobName, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD("SetJobName", "sss", "i", OnSetJobName, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_VTABLE_END,
};

int Serve() {
    sd_event* event = nullptr;
    sd_bus* bus = nullptr;
    if (sd_event_default(&event) < 0 || sd_bus_open_user(&bus) < 0 ||
        sd_bus_add_object_vtable(bus, nullptr, path, name, table, nullptr) < 0 ||
        sd_bus_request_name(bus, name, 0) < 0 || sd_bus_attach_event(bus, event, SD_EVENT_PRIORITY_NORMAL) < 0)
        return 1;
    sd_notify(0, "READY=1");
    return sd_event_loop(event);
}

} // namespace

int main(int argc, char** argv) {
    if (argc == 2 && std::strcmp(argv[1], "notify") == 0)
        return sd_notify(0, "READY=1") > 0 ? 0 : 1;
    return Serve();
}
