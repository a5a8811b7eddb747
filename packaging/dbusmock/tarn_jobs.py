"""python-dbusmock template of the jobs service

For tests of user interfaces that need no jobs on a card: a stand-in with devices, jobs, a target device, a current job
and the texts of jobs. It has every method of the interface; those that it does not play answer with return code 0 and
empty values. AddMethod of the mock gives a method another answer, EmitSignal sends what the service would.

    python3 -m dbusmock --template tarn_jobs.py --parameters '{"devices": {"front": ["Main Street 12"]}}'

"devices" maps the ID of each device to the names of its jobs; the first device becomes the target. "interfaces" is the
folder with the interface's XML files.
"""

# SPDX-License-Identifier: Apache-2.0

import json
import uuid
import xml.etree.ElementTree as xml
from pathlib import Path

import dbus

from dbusmock import MOCK_IFACE, mockobject

BUS_NAME = "com.corvane.common.JobsManagerDaemon1"
MAIN_OBJ = "/com/corvane/common/JobsManagerDaemon1"
MAIN_IFACE = BUS_NAME
DEVICE_IFACE = BUS_NAME + ".Device"
SYSTEM_BUS = False
IS_OBJECT_MANAGER = True

SUCCEEDED, DEVICE_NOT_FOUND, NO_CURRENT_JOB, JOB_NOT_FOUND, CURRENT_JOB_OPEN, INVALID_RANGE = 0, 2, 7, 9, 15, 29
EMPTY = {"s": "", "i": 0, "y": 0, "b": False}
TEXTS = ("Name", "Notes", "PrivateNotes", "UserData")


class Refused(Exception):
    """Carries the return code."""


class Jobs:
    """The jobs of all devices; a method of the interface is a method here, named alike."""

    def __init__(self, mock, devices):
        self.mock = mock
        self.devices = {device: {} for device in devices}
        self.target = next(iter(devices), "")
        self.current = None  # device and job ID
        for device, names in devices.items():
            for name in names:
                self.add(device, name)

    def add(self, device, name):
        job = str(uuid.uuid4())
        self.devices[device][job] = {"id": job, "name": name, "version": "2.0", "locked": False}
        return job

    def answer(self, method, out, arguments):
        """A method that refuses, or that is not played, answers with empty values of its types."""
        try:
            result = getattr(self, method)(*arguments) if hasattr(self, method) else SUCCEEDED
        except Refused as refused:
            result = refused.args[0]
        if not out.startswith("("):
            return result
        fields = result if isinstance(result, tuple) else (result,)
        return fields + tuple(EMPTY[kind] for kind in out[1 + len(fields) : -1])

    def jobs_of(self, device):
        device = device or self.target
        if device not in self.devices:
            raise Refused(DEVICE_NOT_FOUND)
        return device, self.devices[device]

    def job(self, device, job):
        device, jobs = self.jobs_of(device)
        if not job:
            if not self.current or self.current[0] != device:
                raise Refused(NO_CURRENT_JOB)
            job = self.current[1]
        if job not in jobs:
            raise Refused(JOB_NOT_FOUND)
        return jobs[job]

    def become_current(self, device, job):
        self.current = (device, job)
        self.set_target(device)
        self.mock_of(device).UpdateProperties(DEVICE_IFACE, {"CurrentJobID": job})
        return SUCCEEDED, device, json.dumps(self.devices[device][job])

    def set_target(self, device):
        self.target = device
        self.mock.UpdateProperties(MAIN_IFACE, {"TargetDeviceID": device})

    def mock_of(self, device):
        return mockobject.objects[f"{MAIN_OBJ}/{device}"]

    def GetTargetDeviceID(self):
        return self.target

    def SetTargetDeviceID(self, device):
        if self.current:
            raise Refused(CURRENT_JOB_OPEN)
        if device not in self.devices:
            raise Refused(DEVICE_NOT_FOUND)
        self.set_target(device)
        return SUCCEEDED

    def GetCurrentJobID(self):
        return self.current[1] if self.current else ""

    def GetCurrentJobDeviceID(self):
        return self.current[0] if self.current else ""

    def CreateJob(self, device, name):
        if self.current:
            raise Refused(CURRENT_JOB_OPEN)
        device, _ = self.jobs_of(device)
        return self.become_current(device, self.add(device, name))

    def OpenJob(self, device, job):
        if self.current:
            raise Refused(CURRENT_JOB_OPEN)
        device, jobs = self.jobs_of(device)
        if job not in jobs:
            raise Refused(JOB_NOT_FOUND)
        return self.become_current(device, job)

    def CloseJob(self):
        if not self.current:
            raise Refused(NO_CURRENT_JOB)
        device, job = self.current
        self.current = None
        self.mock_of(device).UpdateProperties(DEVICE_IFACE, {"CurrentJobID": ""})
        return SUCCEEDED, job

    def GetJob(self, device, job):
        return SUCCEEDED, json.dumps(self.job(device, job))

    def GetJobList(self, device, _criterion, _order, start, limit):
        _, jobs = self.jobs_of(device)
        if start and start >= len(jobs):
            raise Refused(INVALID_RANGE)
        page = list(jobs.values())[start:][: limit or None]
        return SUCCEEDED, json.dumps(page)

    def GetJobListStats(self, device):
        _, jobs = self.jobs_of(device)
        return SUCCEEDED, json.dumps({"nRuvoJobs": len(jobs), "nTamsyJobs": 0, "nTamsyJobsAtReIndex": 0})

    def GetJobLocked(self, device, job):
        return SUCCEEDED, self.job(device, job)["locked"]

    def SetJobLocked(self, device, job, locked):
        return self.set(device, job, "locked", bool(locked))

    def set(self, device, job, key, value):
        found = self.job(device, job)
        found[key] = value
        device, _ = self.jobs_of(device)
        self.mock_of(device).EmitSignal(MAIN_IFACE, "JobChanged", "s", [json.dumps(found)])
        return SUCCEEDED


def text_of(key):
    return lambda self, device, job: (SUCCEEDED, self.job(device, job).get(key, ""))


def set_text(key):
    return lambda self, device, job, text: self.set(device, job, key, str(text))


for _text in TEXTS:
    _key = _text[0].lower() + _text[1:]
    setattr(Jobs, "GetJob" + _text, text_of(_key))
    setattr(Jobs, "SetJob" + _text, set_text(_key))


def methods(folder):
    """Name and types of every method, from the interface's own file."""
    interface = xml.parse(Path(folder) / f"{BUS_NAME}.xml").getroot().find("interface")
    for method in interface.findall("method"):
        types = {"in": "", "out": ""}
        for argument in method.findall("arg"):
            types[argument.get("direction")] += argument.get("type")
        yield method.get("name"), types["in"], types["out"]


def played(name, out):
    return lambda mock, *arguments: mock.jobs.answer(name, out, arguments)


def load(mock, parameters):
    mock.jobs = Jobs(mock, parameters.get("devices", {"front": []}))
    mock.AddProperties(MAIN_IFACE, dbus.Dictionary({"TargetDeviceID": mock.jobs.target}, signature="sv"))
    for name, taken, out in methods(parameters.get("interfaces", "/usr/share/dbus-1/interfaces")):
        mock.AddMethod(MAIN_IFACE, name, taken, out, played(name, out))
    for device, jobs in mock.jobs.devices.items():
        AddDevice(mock, device, len(jobs))


@dbus.service.method(MOCK_IFACE, in_signature="si", out_signature="")
def AddDevice(self, device, count):
    """A card is mounted, with as many jobs as that in its statistics."""
    self.jobs.devices.setdefault(device, {})
    stats = json.dumps({"nRuvoJobs": int(count), "nTamsyJobs": 0, "nTamsyJobsAtReIndex": 0})
    properties = {
        "DeviceState": "Idle",
        "CurrentJobID": "",
        "JobListStatus": True,
        "JobListStats": stats,
        "SearchStats": "",
    }
    path = f"{MAIN_OBJ}/{device}"
    self.AddObject(path, DEVICE_IFACE, dbus.Dictionary(properties, signature="sv"), [])
    self.object_manager_emit_added(path)
