"""What the comparisons of whole problems share: running a program under a limit, the answer of
`zalvo --json`, relative errors, shifted means and tables."""
import csv
import json
import math
import os
import signal
import subprocess
import tempfile
import time

GRACE = 10.0  # seconds past the limit after which a run is ended from outside
SHIFT = 0.01  # seconds added before a geometric mean of times, so that tiny ones don't rule it


def run(command, limit):
    """Runs command; gives (exit code or None when ended, output, errors, seconds, peak KiB)."""
    with tempfile.TemporaryFile() as out, tempfile.TemporaryFile() as err:
        start = time.perf_counter()
        child = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=out, stderr=err)
        stopped = False
        while True:
            pid, status, usage = os.wait4(child.pid, os.WNOHANG)
            seconds = time.perf_counter() - start
            if pid:
                break
            if seconds > limit + GRACE and not stopped:
                child.send_signal(signal.SIGKILL)
                stopped = True
            time.sleep(0.001 if seconds < 0.1 else 0.01)
        child.returncode = os.waitstatus_to_exitcode(status)
        texts = []
        for f in (out, err):
            f.seek(0)
            texts.append(f.read().decode(errors="replace"))
        return (None if stopped else child.returncode, *texts, seconds, usage.ru_maxrss)


def run_zalvo(args, path, options=(), counted="interior"):
    """One run of args.zalvo within args.limit and with args.p; options go before the file, and
    counted says of which method iterations are told."""
    command = [args.zalvo, "--json", "--time-limit", str(args.limit), "--threads",
               str(args.threads), *options]
    for setting in args.p:
        command += ["-p", setting]
    code, out, err, seconds, peak = run(command + [path], args.limit)
    row = {"exit": code, "seconds": seconds, "peak": peak}
    if code is None:
        row["status"] = "ended after the limit"
        return row
    try:
        answer = json.loads(out)
    except ValueError:
        row["status"] = "no result: " + (err.strip().splitlines() or ["exit %s" % code])[-1][:60]
        return row
    row.update(
        status=answer["solution_status"] or "", rows=answer["rows"], cols=answer["cols"],
        response=answer["response"], objective=answer["objective"],
        pinf=answer["primal_infeasibility"], dinf=answer["dual_infeasibility"],
        iterations=answer["iterations"][counted], solve=answer["seconds"]["optimize"],
        presolve=answer["seconds"]["presolve"])
    return row


def relative(value, reference):
    if value is None or reference is None:
        return None
    return abs(value - reference) / max(1.0, abs(reference))


def show(value, form):
    return "-" if value is None else form % value


def aligned(lines):
    width = [max(len(str(line[k])) for line in lines) for k in range(len(lines[0]))]
    for line in lines:
        cells = [str(c).ljust(w) if k in (0, 3) else str(c).rjust(w)
                 for k, (c, w) in enumerate(zip(line[:-1], width))]
        yield "  ".join(cells + [str(line[-1])])


def geometric(values):
    return math.exp(sum(math.log(v + SHIFT) for v in values) / len(values)) - SHIFT


def index_of(folder, kinds, names):
    """Rows of a data folder's index of these kinds, those named only when there are names."""
    with open(os.path.join(folder, "INDEX.tsv"), newline="") as f:
        return [e for e in csv.DictReader(f, delimiter="\t", quoting=csv.QUOTE_NONE)
                if e["kind"] in kinds and (not names or e["name"] in names)]


def write_tsv(path, lines):
    with open(path, "w", newline="") as f:
        csv.writer(f, delimiter="\t", lineterminator="\n").writerows(lines)
