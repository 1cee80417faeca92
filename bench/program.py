"""What the program itself does for a row of each table: nanoseconds, instructions and allocations, step by step."""

import collections
import json
import pathlib
import re
import subprocess
import tempfile

import arguments
import document

_STEPS = ("fetch", "text", "log", "write")
_STREAM_STEPS = ("stream text", "stream log")


def main() -> None:
    options = arguments.parse(__doc__)
    programs = options.build_directory / "bench"
    times, allocations = _measure_times(programs / "program_bench", options.quick)
    instructions = _count_instructions(programs / "program_instructions", options.quick)
    rows = []
    for name, of_steps in times.items():
        own = of_steps["text"] + of_steps["log"]
        rows.append(
            [
                name,
                *(f"{of_steps[step]:.0f}" for step in _STEPS),
                f"{own:.0f}",
                *(f"{of_steps[step]:.0f}" for step in _STREAM_STEPS),
                f"{own / sum(of_steps[step] for step in _STREAM_STEPS):.2f}",
                *(f"{instructions[name][step]:.0f}" for step in _STEPS),
                f"{sum(allocations[name][step] for step in _STEPS):.0f}",
            ]
        )
    header = [
        "table",
        *(f"{step}, ns" for step in _STEPS),
        "text + log, ns",
        *(f"{step}, ns" for step in _STREAM_STEPS),
        "text + log : streams",
        *(f"{step}, instructions" for step in _STEPS),
        "allocations",
    ]
    document.replace_block(options.document, "program", document.table(header, rows))


def _measure_times(program: pathlib.Path, quick: bool):
    """Nanoseconds and allocations by table and step."""
    repetitions = 1 if quick else 5
    report = subprocess.run(
        [program, "--benchmark_format=json", "--benchmark_min_time=0.02", f"--benchmark_repetitions={repetitions}"],
        stdout=subprocess.PIPE,
        stderr=subprocess.DEVNULL,
        check=True,
    )
    measured = collections.defaultdict(lambda: collections.defaultdict(list))
    allocations = collections.defaultdict(dict)
    for run in json.loads(report.stdout)["benchmarks"]:
        if run["run_type"] == "iteration":
            name, step = run["run_name"].split("/")
            measured[name][step].append(run["cpu_time"])
            allocations[name][step] = run["allocations"]
    times = {
        name: {step: document.median(values) for step, values in of_steps.items()} for name, of_steps in measured.items()
    }
    return times, allocations


def _count_instructions(program: pathlib.Path, quick: bool):
    """Instructions by table and step."""
    count = 100 if quick else 10_000
    instructions = collections.defaultdict(dict)
    with tempfile.TemporaryDirectory() as directory:
        out = pathlib.Path(directory) / "out"
        subprocess.run(
            ["valgrind", "--quiet", "--tool=callgrind", f"--callgrind-out-file={out}", program, str(count)],
            stderr=subprocess.DEVNULL,
            check=True,
        )
        for path in pathlib.Path(directory).iterdir():
            text = path.read_text()
            if trigger := re.search(r"^desc: Trigger: Client Request: (\w+)/(\w+)$", text, re.MULTILINE):
                total = re.search(r"^summary: (\d+)", text, re.MULTILINE)
                instructions[trigger[1]][trigger[2]] = int(total[1]) / count
    return instructions


if __name__ == "__main__":
    main()
