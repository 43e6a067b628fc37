"""Methods that strike one call of the tool: it is killed there, stopped there, or the call fails."""

import errno
import os
import signal
import time

import judge
from machine import LIMIT_SECONDS, Disagreement, Run
from operations import OPERATIONS

ERRORS = ("EIO", "ENOSPC", "EDQUOT", "EACCES", "EROFS", "EMFILE", "EINTR")


class Strike:
    """One way to strike: what the preloaded library is told, and the error that the judge knows."""

    def __init__(self, name, variables, error=None):
        self.name, self.variables, self.error = name, variables, error


def failing_calls():
    for error in ERRORS:
        variables = {"FAULT_KIND": "any", "FAULT": str(getattr(errno, error))}
        yield Strike(error, variables, error)
        # A call that is interrupted for ever is tried again for ever.
        if error != "EINTR":
            yield Strike(f"{error} from there on", {**variables, "FAULT_ONWARD": "1"}, error)


def failing_allocations():
    variables = {"FAULT_KIND": "memory", "FAULT": str(errno.ENOMEM)}
    yield Strike("no memory", variables, "memory")
    yield Strike("no memory from there on", {**variables, "FAULT_ONWARD": "1"}, "memory")


STRIKES = {
    "kill": [Strike("kill", {"FAULT": "kill"})],
    "stop": [Strike("stop", {"FAULT": "stop"})],
    "fail": list(failing_calls()),
    "memory": list(failing_allocations()),
}


def count_calls(bench, operation, strike):
    """How many calls of the operation can be struck so."""
    machine = bench.at_start_of(operation)
    count = machine.root / "count"
    run = machine.run(operation.arguments(machine),
                      {**strike.variables, "FAULT_COUNT": str(count)})
    if run.exit_code != 0 or run.err:
        raise Disagreement(f"it fails without any fault: {run}")
    return int(count.read_text())


def strike_at(machine, operation, strike, call):
    """The run, and the name of the call that was struck."""
    log = machine.root / "struck"
    log.unlink(missing_ok=True)
    faults = {**strike.variables, "FAULT_AT": str(call), "FAULT_LOG": str(log)}
    if strike.name == "stop":
        run = run_with_stop(machine, operation, faults)
    else:
        run = machine.run(operation.arguments(machine), faults)
    struck = log.read_text() if log.exists() else "no call"
    if strike.error == "memory" and "core" not in struck and ended_outside_the_core(run):
        run.was_killed = True
    return run, struck


def ended_outside_the_core(run):
    """The tool's own code and its framework end the process where they get no memory; so they may,
    as long as the stores are as after a kill. The core never may."""
    framework_exits = (70, 78)
    return run.exit_code == -signal.SIGABRT or (run.exit_code in framework_exits and
                                                "bad_alloc" in run.err)


def wait_until_stopped(process):
    """False where it ended before."""
    deadline = time.monotonic() + LIMIT_SECONDS
    while time.monotonic() < deadline:
        found = os.waitid(os.P_PID, process.pid, os.WSTOPPED | os.WEXITED | os.WNOWAIT)
        if found.si_code == os.CLD_STOPPED:
            return True
        if found.si_code in (os.CLD_EXITED, os.CLD_KILLED, os.CLD_DUMPED):
            return False
    raise Disagreement("it hangs")


def run_with_stop(machine, operation, faults):
    """Stops the change in the middle, lists, and lets it go on."""
    before = judge.shown(machine)
    process = machine.start(operation.arguments(machine), faults)
    try:
        if wait_until_stopped(process):
            found = machine.listed()
            states = [judge.merged(before), judge.merged(operation.expected(before))]
            judge.require(found in states, f"during the change, the list shows {found}")
            judge.judge_hosts(machine)
    finally:
        os.kill(process.pid, signal.SIGCONT)
        out, err = process.communicate(timeout=LIMIT_SECONDS)
    run = Run(process.returncode, out, err)
    judge.require(run.exit_code == 0, f"continued, it fails: {run}")
    return run


def run_calls(bench, operation_index, method, strike_index, every, offset):
    """Strikes every so many-th call of the operation; gives (points, [(point, what is wrong)])."""
    operation = OPERATIONS[operation_index]
    strike = STRIKES[method][strike_index]
    points, bad = 0, []
    for call in range(1 + offset % every, count_calls(bench, operation, strike) + 1, every):
        machine = bench.at_start_of(operation)
        before = judge.shown(machine)
        struck = "?"
        points += 1
        try:
            run, struck = strike_at(machine, operation, strike, call)
            if operation.change is None:
                judge.judge_faulty_list(machine, run, before)
            else:
                judge.judge_change(machine, operation, run, before, strike.error)
        except Disagreement as disagreement:
            bad.append((f"{method}: {operation.name}: {strike.name} at call {call} ({struck})",
                        str(disagreement)))
    return points, bad


def call_tasks(method, every):
    """The work in pieces that can run side by side."""
    for operation_index in range(len(OPERATIONS)):
        for strike_index in range(len(STRIKES[method])):
            yield (run_calls, operation_index, method, strike_index, every,
                   operation_index + strike_index)
