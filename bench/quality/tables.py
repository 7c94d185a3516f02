"""Rows of figures into one table: means by kind of scene, then over the kinds."""

from .score import COLUMNS, average

GROUPS = ["drawn", "clips", "given"]


def by_kind(rows):
    """{kind: mean figures} of one keyer's rows; a scene that it failed on is left out and counted by `failures`."""
    kinds = {}
    for row in rows.values():
        if "figures" in row:
            kinds.setdefault(row["kind"], []).append(row["figures"])
    return {kind: average(figures) for kind, figures in kinds.items()}


def failures(rows):
    return sorted(name for name, row in rows.items() if "failed" in row)


def overall(rows):
    """Every kind counts alike, however many scenes it has."""
    return average(list(by_kind(rows).values()))


def cell(value):
    return "" if value is None else f"{value:.2f}"


def lines_of(heads, rows):
    """Columns aligned: the first to the left, figures to the right."""
    widths = [max(len(row[i]) for row in [heads, *rows]) for i in range(len(heads))]
    return ["  ".join(c.ljust(w) if i == 0 else c.rjust(w) for i, (c, w) in enumerate(zip(row, widths))).rstrip() for row in [heads, *rows]]


def text(results):
    """results: {group: {keyer: {scene: row}}}."""
    out = []
    for group, table in results.items():
        if not table:
            continue
        means = {name: overall(rows) for name, rows in table.items()}
        columns = [c for c in COLUMNS if any(c in m for m in means.values())]
        out += [f"{group}: means over the kinds of scenes", ""]
        out += lines_of(["keyer", *columns], [[name, *(cell(m.get(c)) for c in columns)] for name, m in means.items()])
        kinds = {name: by_kind(rows) for name, rows in table.items()}
        all_kinds = list(dict.fromkeys(kind for of in kinds.values() for kind in of))
        out += ["", f"{group}: comp by kind", ""]
        out += lines_of(["kind", *kinds], [[kind, *(cell(of.get(kind, {}).get("comp")) for of in kinds.values())] for kind in all_kinds])
        out += [f"{name} failed on {', '.join(failures(rows))}" for name, rows in table.items() if failures(rows)]
        out.append("")
    return "\n".join(out)
