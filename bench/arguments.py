"""The options that all benchmarks have."""

import argparse
import pathlib


def parse(description: str) -> argparse.Namespace:
    parser = argparse.ArgumentParser(description=description)
    parser.add_argument("--build-directory", required=True, type=pathlib.Path, help="the build with the programs")
    parser.add_argument("--document", required=True, type=pathlib.Path, help="the text whose tables are written")
    parser.add_argument("--quick", action="store_true", help="small sizes: whether it works, not how fast it is")
    arguments = parser.parse_args()
    arguments.build_directory = arguments.build_directory.resolve()
    return arguments
