"""The sample of faults, and where a fault of an earlier run stands now."""

import random

from .concern import room_of
from .kinds import KINDS, faults_of


def ordered(name, modules, texts, seed):
    """All faults of a module, or of the sources of a room, in the order of the sample: the kinds take turns."""
    chance = random.Random(f"{seed} {name}")
    lists = {kind: [] for kind in KINDS}
    for module in modules:
        for kind, faults in faults_of(module, texts[module], chance).items():
            lists[kind] += faults
    for kind in KINDS:
        chance.shuffle(lists[kind])
    result = []
    while any(lists.values()):
        for kind in KINDS:
            if lists[kind]:
                result.append(lists[kind].pop())
    return result


def sample(modules, texts, count, least, seed):
    """(module or room, its faults in order) for each fault to plant; they are spread over the run."""
    units = {}
    for module in modules:
        units.setdefault(room_of(module), []).append(module)
    queues = {u: ordered(u, units[u], texts, seed) for u in units}
    lines = {u: sum(texts[m].count("\n") for m in units[u]) for u in units}
    slots = []
    for u in units:
        number = max(least, round(count * lines[u] / sum(lines.values())))
        slots += [((k + 0.5) / number, u) for k in range(min(number, len(queues[u])))]
    queues = {u: iter(q) for u, q in queues.items()}
    return [(u, queues[u]) for _, u in sorted(slots)]


def position(text, fault):
    """Where a fault of an earlier run stands now; None if its line is gone or has changed."""
    lines = text.split("\n")
    at = [i for i, line in enumerate(lines) if line.strip() == fault["source"]]
    if not at:
        return None
    line = min(at, key=lambda i: abs(i + 1 - fault["line"]))
    fault["line"] = line + 1
    start = sum(len(l) + 1 for l in lines[:line]) + fault["column"] - 1
    return start if text.startswith(fault["before"], start) else None
