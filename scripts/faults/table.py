"""The outcomes as a table, and a fault as a line."""

from .concern import path_of, room_of


def print_table(faults):
    """Score of each module, as a table of Markdown."""
    rows = {}
    for fault in faults:
        row = rows.setdefault(room_of(fault["module"]), [0, 0])
        row[0] += 1
        row[1] += fault["outcome"] == "caught"
    print("| Module | Faults | Caught | Score |\n|---|---:|---:|---:|")
    for module, (count, caught) in [*sorted(rows.items()), ("all", [sum(c) for c in zip(*rows.values())])]:
        print(f"| {module} | {count} | {caught} | {100 * caught // count} % |")


def shown(fault):
    change = f"`{' '.join(fault['before'].split())}` -> `{fault['after']}`" if fault["after"] else f"`{fault['before']}` dropped"
    return f"{path_of(fault['module'])}:{fault['line']}:{fault['column']} {fault['kind']}: {change}   in: {fault['source']}"
