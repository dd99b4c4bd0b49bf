# SPDX-License-Identifier: Apache-2.0
"""What the machine is, and whether somebody else uses it."""

import os
import platform
import resource
import subprocess
import time

BUSY_CORES = 0.1  # of others; more than that spoils figures


def _busy_seconds():
    """CPU seconds that the machine has worked since it was started, stolen ones included."""
    with open("/proc/stat") as stat:
        user, nice, system, _idle, _wait, irq, softirq, steal = map(int, stat.readline().split()[1:9])
    return (user + nice + system + irq + softirq + steal) / os.sysconf("SC_CLK_TCK")


def _own_seconds():
    """CPU seconds of this process and of its children that have ended."""
    usages = [resource.getrusage(who) for who in (resource.RUSAGE_SELF, resource.RUSAGE_CHILDREN)]
    return sum(usage.ru_utime + usage.ru_stime for usage in usages)


class Watch:
    """How many cores others have used, on average, since this watch was started."""

    def __init__(self):
        self._begin = time.monotonic()
        self._others = _busy_seconds() - _own_seconds()

    def cores(self):
        others = _busy_seconds() - _own_seconds() - self._others
        return max(0.0, others / (time.monotonic() - self._begin))


def cores_of_others(seconds=1.0):
    watch = Watch()
    time.sleep(seconds)
    return watch.cores()


def _processor():
    with open("/proc/cpuinfo") as lines:
        for line in lines:
            if line.startswith("model name"):
                return line.split(":", 1)[1].strip()
    return platform.machine()


def describe():
    compiler = subprocess.run(["c++", "--version"], capture_output=True, text=True, check=True)
    return {
        "processor": _processor(),
        "cores": os.cpu_count(),
        "system": platform.freedesktop_os_release().get("PRETTY_NAME", platform.system()),
        "kernel": platform.release(),
        "compiler": compiler.stdout.splitlines()[0],
        "date": time.strftime("%Y-%m-%d %H:%M UTC", time.gmtime()),
    }
