"""The methods by their names: the work of each, and what it needs of the machine."""

import calls
import crowd
import damage
import places
from operations import OPERATIONS


def always():
    return ""


class Method:
    """`tasks`: from N, every so many-th point, to pieces of work: (function, arguments...).
    `reason_against`: gives why this machine cannot run it; empty where it can."""

    def __init__(self, tasks, reason_against=always):
        self.tasks, self.reason_against = tasks, reason_against


def of_calls(name):
    return Method(lambda every: calls.call_tasks(name, every))


METHODS = {
    "kill": of_calls("kill"),
    "stop": of_calls("stop"),
    "fail": of_calls("fail"),
    "memory": of_calls("memory"),
    "disk": Method(lambda every: places.tasks(places.run_rooms, every),
                   places.reason_against_disks),
    "rights": Method(lambda every: places.tasks(places.run_rights, every),
                     places.reason_against_disks),
    "power": Method(lambda every: places.tasks(places.run_power_cuts, every),
                    places.reason_against_power_cuts),
    "damage": Method(damage.tasks),
    "crowd": Method(crowd.tasks),
}
