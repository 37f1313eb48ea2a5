#!/usr/bin/env python3
"""Turns the rows of bench/compare.sh (runs.tsv) into the comparison table and ratios.

Every figure is the median over the successful repetitions of one tool on one file count;
wall, CPU and peak memory are each the median of their own column.
"""

import csv
import statistics
import sys

TESSEL = "tessel-sheet"
TESSEL_300 = "tessel-sheet 300"  # the same sheet at 300 ppi: a cost, not a peer
IMAGES_PER_PAGE = 12


def load(path):
    groups = {}  # (tool, files) -> list of rows, in first-seen order
    with open(path, newline="") as handle:
        for row in csv.DictReader(handle, delimiter="\t"):
            groups.setdefault((row["tool"], int(row["files"])), []).append(row)
    summary = {}
    for key, rows in groups.items():
        good = [r for r in rows if r["status"] == "ok"]
        entry = {"runs": len(rows), "ok": len(good)}
        if good:
            entry["wall"] = statistics.median(float(r["wall_s"]) for r in good)
            entry["cpu"] = statistics.median(float(r["cpu_s"]) for r in good)
            entry["peak"] = statistics.median(float(r["peak_kb"]) for r in good) / 1024
        summary[key] = entry
    return summary


def table(summary):
    lines = [f"{'tool':<16} {'files':>5} {'wall s':>8} {'CPU s':>8} {'peak MB':>8}  runs"]
    for (tool, files), e in summary.items():
        runs = f"{e['ok']}/{e['runs']}" + ("" if e["ok"] == e["runs"] else " (failures)")
        if e["ok"]:
            lines.append(
                f"{tool:<16} {files:>5} {e['wall']:>8.2f} {e['cpu']:>8.2f} {e['peak']:>8.0f}  {runs}"
            )
        else:
            lines.append(f"{tool:<16} {files:>5} {'-':>8} {'-':>8} {'-':>8}  {runs}")
    return lines


def ratios(summary):
    lines = []
    for (tool, files), tessel in summary.items():
        if tool != TESSEL or not tessel["ok"]:
            continue
        peers = [
            (t, e)
            for (t, f), e in summary.items()
            if f == files and not t.startswith((TESSEL, "RAW ")) and e["ok"]
        ]
        if not peers:
            continue
        lines.append("")
        lines.append(f"Tessel / peer on {files} files (below 1: Tessel is faster or smaller)")
        lines.append(f"{'peer':<22} {'wall':>7} {'CPU':>7} {'peak':>7}")
        for peer, e in peers:
            floor = peer.startswith("djpeg")
            label = peer + (" (floor)" if floor else "")
            # A bare decoder's few megabytes say nothing about a sheet tool's memory.
            peak = "-" if floor else f"{tessel['peak'] / e['peak']:.2f}"
            lines.append(
                f"{label:<22} {tessel['wall'] / e['wall']:>7.2f} {tessel['cpu'] / e['cpu']:>7.2f}"
                f" {peak:>7}"
            )
    return lines


def resolution_cost(summary):
    lines = []
    for (tool, files), high in summary.items():
        standard = summary.get((TESSEL, files))
        if tool != TESSEL_300 or not high["ok"] or not standard or not standard["ok"]:
            continue
        lines.append("")
        lines.append(
            f"300 ppi / 150 ppi on {files} files: wall {high['wall'] / standard['wall']:.2f},"
            f" CPU {high['cpu'] / standard['cpu']:.2f}, peak {high['peak'] / standard['peak']:.2f}"
            " (four times the pixels)"
        )
    return lines


def raw_ratios(summary):
    """Camera RAW sheets against their floors: the previews cut out and decoded, and LibRaw's
    own half-size development."""
    pairs = [("tessel-sheet RAW", "RAW preview 1/4 x2"), ("tessel-sheet RAW dev", "RAW dcraw_emu -h x2")]
    lines = []
    for tessel, floor in pairs:
        for (tool, files), e in summary.items():
            peer = summary.get((floor, files))
            if tool != tessel or not e["ok"] or not peer or not peer["ok"]:
                continue
            lines.append("")
            lines.append(
                f"{tessel} / {floor} on {files} files: wall {e['wall'] / peer['wall']:.2f},"
                f" CPU {e['cpu'] / peer['cpu']:.2f}; Tessel's peak {e['peak']:.0f} MB"
            )
    return lines


def growth(summary):
    runs = sorted(
        (files, e["peak"]) for (tool, files), e in summary.items() if tool == TESSEL and e["ok"]
    )
    if len(runs) < 2 or runs[-1][0] <= runs[0][0]:
        return []
    lines = ["", "tessel-sheet peak memory by job size"]
    for files, peak in runs:
        pages = -(-files // IMAGES_PER_PAGE)
        lines.append(f"  {files:>4} files, {pages:>3} pages: {peak:>7.0f} MB")
    (small, small_peak), (large, large_peak) = runs[-2], runs[-1]
    extra_pages = -(-large // IMAGES_PER_PAGE) - -(-small // IMAGES_PER_PAGE)
    per_page = (large_peak - small_peak) / extra_pages
    lines.append(
        f"  growth from {small} to {large} files: {per_page:.1f} MB per page"
        " (an RGBA A4 raster at 1240 x 1754 is 8.7 MB)"
    )
    return lines


def main():
    if len(sys.argv) != 2:
        sys.exit("usage: summarize.py runs.tsv")
    summary = load(sys.argv[1])
    print()
    print("\n".join(table(summary) + ratios(summary) + resolution_cost(summary) + raw_ratios(summary)
                    + growth(summary)))


if __name__ == "__main__":
    main()
