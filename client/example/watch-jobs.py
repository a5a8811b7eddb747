"""Lists the jobs of all devices, then tells which jobs change: watch-jobs.py [CHANGES]

Speaks to the service by python3-dbus-next, without the library.
"""

import asyncio
import json
import sys

from dbus_next import Message, MessageType
from dbus_next.aio import MessageBus

SERVICE = "com.corvane.common.JobsManagerDaemon1"
MANAGER = "/com/corvane/common/JobsManagerDaemon1"
CREATION, DESCENDING, FIRST, ALL = 0, 0, 0, 0


async def call(bus, destination, path, interface, member, signature="", *arguments):
    reply = await bus.call(
        Message(destination=destination, path=path, interface=interface, member=member,
                signature=signature, body=list(arguments)))
    if reply.message_type == MessageType.ERROR:
        raise RuntimeError(reply.body[0])
    return reply.body[0] if reply.body else None


async def main(count):
    bus = await MessageBus().connect()
    changes = asyncio.Queue()

    def take(message):
        # What the service tells of a device leaves from the device's path, under the interface of the manager.
        if message.message_type == MessageType.SIGNAL and message.member == "JobChanged":
            changes.put_nowait((message.path.rpartition("/")[2], message.body[0]))

    bus.add_message_handler(take)
    await call(bus, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "AddMatch", "s",
               f"type='signal',sender='{SERVICE}',interface='{SERVICE}'")

    objects = await call(bus, SERVICE, MANAGER, "org.freedesktop.DBus.ObjectManager", "GetManagedObjects")
    devices = [path for path, interfaces in objects.items() if SERVICE + ".Device" in interfaces]
    for device in sorted(path.rpartition("/")[2] for path in devices):
        code, jobs = await call(bus, SERVICE, MANAGER, SERVICE, "GetJobList", "syyqq", device,
                                CREATION, DESCENDING, FIRST, ALL)
        names = [job["name"] for job in json.loads(jobs)] if code == 0 else f"refused with {code}"
        print(f"{device}: {names}", flush=True)

    print("Listening.", flush=True)
    for _ in range(count):
        device, summary = await changes.get()
        print(f"{device}: changed {summary}", flush=True)


asyncio.run(main(int(sys.argv[1]) if len(sys.argv) > 1 else 0))
