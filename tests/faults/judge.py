"""The one judge: whether list, rows, folders, links, exit status and explanation agree."""

import json
import os
import re

from machine import FOLDER_NAME, STATUSES, Disagreement
from operations import NEXT

STORES = ("user", "shared")

# What a failure may be called by the error that was injected. The last of each are what the reader
# of a package, a feed or a key file says of any error.
READERS = ("packageUnreadable", "feedUnreachable", "downloadFailed")
FITTING = {
    "EIO": ("inputOutput",) + READERS,
    "EINTR": ("inputOutput",) + READERS,
    "EMFILE": ("inputOutput", "outOfMemory", "updatesUnavailable") + READERS,
    "EACCES": ("noPermission",) + READERS,
    "EROFS": ("readOnlyDisk",) + READERS,
    "ENOSPC": ("diskFull",),
    "EDQUOT": ("diskFull",),
    "memory": ("outOfMemory", "updatesUnavailable"),
    "full disk": ("diskFull",),
    "rights": ("noPermission",),
}


def shown(machine):
    """What both stores hold, by their rows, and what of the shared store the user has switched off
    for himself: {store: {id: (version, state)}, "masked": {id: True}}."""
    state = {store: {name: row.shown() for name, row in machine.rows(store).items()}
             for store in STORES}
    state["masked"] = {name: True for name in machine.masked()
                       if name in state["shared"] and name not in state["user"]}
    return state


def merged(state):
    """What a list shows of both stores: the user's extension counts, and his masks."""
    shared = {name: (version, "Disabled" if name in state["masked"] else switch)
              for name, (version, switch) in state["shared"].items()}
    return {**shared, **state["user"]}


def require(condition, text):
    if not condition:
        raise Disagreement(text)


def leaves_product_out(run):
    """A descriptor that may not be read is left out by a line on standard error: its product takes
    no package, and the next changes take its links away and make them again."""
    return "/products.d/" in run.err


def leaves_store_out(run):
    """A shared store that may not be read is left out by a line on standard error."""
    return re.search(r"/shared(/QZ[^:\n]*)?: ", run.err) is not None


def judge_ending(run, error):
    """Exit status, the line on standard output and the explanation fit each other and the error."""
    require(run.exit_code >= 0, f"it crashed: {run}")
    if run.exit_code == 0:
        require("atus = " not in run.out, f"it reports a failure and ends with 0: {run}")
        return
    require(f"status = {run.status}" in run.out, f"standard output names another status: {run}")
    lines = run.err.splitlines()
    require(lines and all(line.strip() for line in lines), f"it gives no explanation: {run}")
    if error is not None:
        fitting = [STATUSES[name] for name in FITTING[error]]
        if error == "EACCES" and leaves_product_out(run):
            fitting += [STATUSES["noFittingProduct"], STATUSES["noUpdate"]]
        if error == "EACCES" and leaves_store_out(run):
            fitting += [STATUSES["extensionNotFound"], STATUSES["productNotFound"]]
        require(run.status in fitting, f"the status does not fit {error}: {run}")


def judge_state(machine, run, before, after):
    """A failure has changed nothing, a success everything, a killed command one of the two."""
    now = shown(machine)
    if run.was_killed:
        require(now in (before, after), f"a third state: {now}")
    elif run.exit_code == 0:
        require(now == after, f"it ends with 0, but the stores hold {now}")
    else:
        require(now == before, f"it fails, but the stores hold {now}; {run}")
    return now


def judge_hosts(machine):
    """Whoever follows a link finds a whole extension, at any moment."""
    for link, target in machine.links().items():
        try:
            with open(os.path.join(link, "extension.json"), encoding="utf-8") as file:
                version = json.load(file)["version"]
            with open(os.path.join(link, "content.txt"), encoding="utf-8") as file:
                content = file.read()
        except (OSError, ValueError) as error:
            raise Disagreement(f"a host cannot load {link} -> {target}: {error}") from None
        require(content == version, f"a host finds half of {link}: {content!r}, {version!r}")


def expected_links(machine):
    """What the rows of both stores want, in the folders of the products that are there."""
    links = {}
    for folder, owner in machine.link_folders():
        for store in ("shared", "user"):  # in one folder, the user's stands in front
            if owner in (store, "both"):
                for name, row in machine.rows(store).items():
                    if row.is_enabled:
                        links[str(folder / name)] = str(machine.store(store) / "ext" / row.folder)
    return links


def judge_links(machine):
    wanted, found = expected_links(machine), machine.links()
    require(wanted == found, "links and rows differ: "
            f"{sorted(set(wanted.items()) ^ set(found.items()))}")
    judge_hosts(machine)


def judge_folders(machine):
    """One folder for each row, with the content of its version; nothing else anywhere."""
    for store in STORES:
        path = machine.store(store)
        rows = machine.rows(store)
        names = os.listdir(path / "ext") if (path / "ext").exists() else []
        folders = {name for name in names if not name.endswith(".files")}
        require(folders == {row.folder for row in rows.values()},
                f"ext/ of the {store} store and its rows differ: {sorted(folders)}")
        require({name[:-len(".files")] for name in names if name.endswith(".files")} <= folders,
                f"a list of files without its folder: {names}")
        for name, row in rows.items():
            named = FOLDER_NAME.fullmatch(row.folder)
            require(named and named.group(1) == name, f"{name} has the folder {row.folder}")
            content = (path / "ext" / row.folder / "content.txt").read_text()
            require(content == row.version, f"{name} {row.version} has the content {content!r}")
        staging = os.listdir(path / "staging") if (path / "staging").exists() else []
        require(not staging, f"staging/ of the {store} store holds {staging}")


def judge_list(machine, state, warnings_are_fine=False):
    """A list works at once, needs no right to write, and shows what the rows and masks say."""
    found = machine.listed(warnings_are_fine=warnings_are_fine)
    require(found == merged(state), f"the list shows {found}, the rows say {state}")


def judge_masks(machine, state):
    """What is switched off for the user is hidden from each host, and nothing else is. A mask stays
    when the shared store loses the extension: it counts again for one that comes back."""
    there = set(state["user"]) | set(state["shared"])
    own = {name for name, (_, switch) in state["user"].items() if switch == "Disabled"}
    for product in ("sketch", "layout"):
        hidden = machine.masked(product) & there
        require(hidden == own | set(state["masked"]),
                f"{product} is kept from {sorted(hidden)}, not {state}")


def judge_sound(machine, state):
    """Nothing is left to do: list, rows, folders, links and masks are one."""
    require(shown(machine) == state, f"the stores hold {shown(machine)}, not {state}")
    judge_list(machine, state)
    judge_folders(machine)
    judge_links(machine)
    judge_masks(machine, state)


def touched_stores(operation):
    """The stores that the next changes go to: where both share a folder, either repairs it."""
    if operation.change is None:
        return ("user",)
    return (operation.change[0],)


def judge_next_change(machine, operation, state):
    """The next change succeeds, finishes or undoes what was left, and loses nothing."""
    state = {store: dict(rows) for store, rows in state.items()}
    for store in touched_stores(operation):
        option = "--install" if store == "user" else "--install_for_all"
        machine.must([option, machine.package(NEXT, "1.0")])
        state[store][NEXT] = ("1.0", "Enabled")
    judge_sound(machine, state)


def judge_aftermath(machine, operation, run, before, error=None):
    """What is there before anybody repairs anything; gives what the stores hold."""
    if not run.was_killed:
        judge_ending(run, error)
    now = judge_state(machine, run, before, operation.expected(before))
    judge_hosts(machine)
    if not run.was_killed and not run.err:
        judge_links(machine)  # without a warning, all of it is done or nothing
    judge_list(machine, now)
    return now


def judge_change(machine, operation, run, before, error=None):
    """All of it, for a change that was killed or in which something failed."""
    now = judge_aftermath(machine, operation, run, before, error)
    if not leaves_product_out(run):
        judge_links(machine)  # the list has finished what it could
    judge_next_change(machine, operation, now)


def judge_explained(run):
    """A list that cannot be given says why."""
    require(run.exit_code >= 0, f"it crashed: {run}")
    require(run.exit_code > 0 or "atus = " in run.out, f"the list should fail: {run}")
    require(run.err.strip(), f"it gives no explanation: {run}")


def judge_faulty_list(machine, run, before):
    """A list says all, or that it cannot; it never shows less without a word."""
    if run.exit_code == 0 and "atus = " not in run.out:
        found, wanted = machine.listed(run, warnings_are_fine=True), merged(before)
        require(found == wanted or leaves_store_out(run) and found.items() <= wanted.items(),
                f"the list is not whole, and does not say so: {run}")
    elif not run.was_killed:
        judge_explained(run)
    judge_sound(machine, before)
