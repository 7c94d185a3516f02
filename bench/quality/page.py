"""The results as one static HTML page: tables, the scenes with every keyer's picture, what each figure means."""

import base64
import html
from pathlib import Path

import cv2

from . import score
from .bench import close_place, folder_name, jpeg
from .pictures import read
from .tables import by_kind, cell, failures, overall

STYLE = """
body { font: 15px/1.45 system-ui, sans-serif; margin: 2rem auto; max-width: 1500px; padding: 0 1rem; color: #222; background: #fff }
table { border-collapse: collapse; font-variant-numeric: tabular-nums; margin: 1rem 0; display: block; overflow-x: auto }
th, td { padding: .2rem .6rem; text-align: right; border-bottom: 1px solid #ddd } th:first-child { text-align: left }
thead th { background: #f2f2f2 } .best { font-weight: 700; background: #e3f3e3 }
pre { background: #f6f6f6; padding: 1rem; overflow-x: auto } figure { margin: 0; display: inline-block }
.scene { display: flex; flex-wrap: wrap; gap: .6rem } figcaption { font-size: 12px } img { height: 150px; display: block }
.close img { height: auto }
@media (prefers-color-scheme: dark) { body { color: #ddd; background: #181818 } thead th, pre { background: #2a2a2a }
  th, td { border-color: #444 } .best { background: #254a25 } }
"""


def row_of(cells, tag="td", best=()):
    first = f"<th scope=row>{html.escape(cells[0])}</th>" if tag == "td" else f"<th>{html.escape(cells[0])}</th>"
    rest = "".join(f"<{tag}{' class=best' if n in best else ''}>{html.escape(c)}</{tag}>" for n, c in enumerate(cells[1:]))
    return f"<tr>{first}{rest}</tr>"


def lowest(values):
    """The places of the smallest value: the best, as smaller is better throughout."""
    known = [v for v in values if v is not None]
    return [n for n, v in enumerate(values) if v is not None and f"{v:.2f}" == f"{min(known):.2f}"] if known else []


def means_table(table):
    means = {name: overall(rows) for name, rows in table.items()}
    columns = [c for c in score.COLUMNS if any(c in m for m in means.values())]
    best = {c: lowest([m.get(c) for m in means.values()]) for c in columns}
    body = "".join(row_of([name, *(cell(m.get(c)) for c in columns)], best=[i for i, c in enumerate(columns) if n in best[c]])
                   for n, (name, m) in enumerate(means.items()))  # fmt: skip
    return f"<table><thead>{row_of(['keyer', *columns], 'th')}</thead><tbody>{body}</tbody></table>"


def kinds_table(table):
    kinds = {name: by_kind(rows) for name, rows in table.items()}
    every = list(dict.fromkeys(kind for of in kinds.values() for kind in of))
    body = ""
    for kind in every:
        values = [of.get(kind, {}).get("comp") for of in kinds.values()]
        body += row_of([kind, *map(cell, values)], best=lowest(values))
    return f"<table><thead>{row_of(['comp', *kinds], 'th')}</thead><tbody>{body}</tbody></table>"


def picture(data, caption):
    return f'<figure><img alt="{html.escape(caption)}" src="data:image/jpeg;base64,{base64.b64encode(bytes(data)).decode()}"><figcaption>{html.escape(caption)}</figcaption></figure>'


def scene_pictures(scene, table, out):
    """The frame and what each keyer left of it: small, and a part at full size."""
    frame = read(sorted(Path(scene).glob("frame*.png"))[0])[..., :3] * 255
    small = cv2.resize(frame, (200 * frame.shape[1] // frame.shape[0], 200), interpolation=cv2.INTER_AREA)
    whole, close = [picture(jpeg(small), "the frame")], [picture(jpeg(frame[close_place(Path(scene))]), "the frame")]
    for name, rows in table.items():
        kept = Path(out, "scores", folder_name(name))
        figures = rows.get(Path(scene).name, {}).get("figures")
        if figures:
            whole.append(picture((kept / f"{Path(scene).name}.jpg").read_bytes(), f"{name}: comp {figures['comp']:.2f}"))
            close.append(picture((kept / f"{Path(scene).name}-close.jpg").read_bytes(), name))
    return f"<h3>{html.escape(Path(scene).name)}</h3><div class=scene>{''.join(whole)}</div><p>At full size:</p><div class='scene close'>{''.join(close)}</div>"


def write_page(out, results, scenes, notes, sheets):
    """notes: lines of text (the keyers, their settings, who is missing); sheets: files to link to."""
    parts = [f"<!doctype html><html lang=en><meta charset=utf-8><title>How good the keys are</title><style>{STYLE}</style>",
             "<h1>How good the keys are</h1><p>Smaller is better throughout; the best of a column, or of a row, is marked.</p>"]  # fmt: skip
    for group, table in results.items():
        if table:
            parts += [f"<h2>{group}</h2>", means_table(table), kinds_table(table)]
            parts += [f"<p>{html.escape(name)} failed on {html.escape(', '.join(failures(rows)))}.</p>" for name, rows in table.items() if failures(rows)]
    parts.append(f"<h2>The keyers</h2><pre>{html.escape(chr(10).join(notes))}</pre><h2>The figures</h2><pre>{html.escape(score.__doc__)}</pre>")
    if sheets:
        links = "".join(f'<li><a href="{html.escape(str(Path(s).relative_to(out)))}">{html.escape(Path(s).stem)}</a></li>' for s in sheets)
        parts.append(f"<h2>Contact sheets of real shots</h2><ul>{links}</ul>")
    parts.append("<h2>The scenes</h2><p>Of each kind the first scene: the frame; each keyer's picture over grey, and its matte; where there is the most hair or edge, both over light at full size.</p>")
    for group, found in scenes.items():
        seen = set()
        for scene in found:
            kind = score.read_meta(scene)["kind"]
            if kind not in seen and results.get(group):
                parts.append(scene_pictures(scene, results[group], out))
            seen.add(kind)
    Path(out, "index.html").write_text("\n".join(parts) + "</html>\n")
