"""Refines many recordings: all folders of images and all bags below ROOT, in this process or on a Ray cluster. What is
done already is not done again, so that a run that ended early is resumed by the same command."""

from __future__ import annotations

import argparse
import pathlib
import time

from ..datasets import pool
from ..datasets.recordings import find_recordings
from ..datasets.refinement import Outcome, Settings, digest_of
from ..support.errors import UserError, complain, printable
from ..support.progress import Progress
from . import add_engine_arguments, add_max_difference

_FAILURES_SHOWN = 5


def add_arguments(parser: argparse.ArgumentParser) -> None:
    parser.add_argument("root", type=pathlib.Path, metavar="ROOT", help="the folder that holds the recordings")
    parser.add_argument(
        "output", type=pathlib.Path, metavar="OUT", help="the folder for the results, under the same names"
    )
    add_engine_arguments(parser)
    parser.add_argument("--confidence", action="store_true", help="keep the confidence of folders of images, too")
    add_max_difference(parser)
    parser.add_argument("--register", action="store_true", help="for bags: see the command bag")
    parser.add_argument(
        "--workers",
        type=int,
        metavar="N",
        help="Ray actors, each with an engine of its own (one per GPU, or 1); 0 stays in this process, without Ray",
    )
    parser.add_argument("--address", metavar="ADDRESS", help="the Ray cluster to join; without it, one is started here")


def run(options: argparse.Namespace) -> int:
    if options.workers is not None and options.workers < 0:
        raise UserError(f"--workers is {options.workers}; it must be 0 or more")
    if options.workers == 0 and options.address:
        raise UserError("--workers 0 stays in this process and --address joins a cluster; give one of them")
    root, output = options.root.resolve(), options.output.resolve()
    if output == root or root in output.parents:
        raise UserError(f"the results would be among the recordings: {output} is in {root}; name a folder beside it")
    recordings = find_recordings(root)
    settings = Settings(
        output=output,
        engine=str(pathlib.Path(options.engine).resolve()),
        engine_digest=digest_of(options.engine),
        rgb_layout=options.rgb_layout,
        library=options.library,
        confidence=options.confidence,
        register=options.register,
        max_difference=options.max_difference,
    )
    started = time.monotonic()
    outcomes = []
    with Progress("recordings") as progress:
        progress.advance(len(recordings))
        results = (
            pool.refine_here(recordings, settings)
            if options.workers == 0
            else pool.refine_on_ray(recordings, settings, options.workers, options.address)
        )
        for outcome in results:
            outcomes.append(outcome)
            progress.advance()
    return _report(outcomes, time.monotonic() - started, output)


def _report(outcomes: list[Outcome], seconds: float, output: pathlib.Path) -> int:
    for outcome in sorted(outcomes, key=lambda outcome: outcome.name):
        for note in outcome.notes:
            complain(printable(f"{outcome.name}: note: {note}"))
    failed = [outcome for outcome in outcomes if outcome.failures]
    for outcome in sorted(failed, key=lambda outcome: outcome.name):
        for failure in outcome.failures[:_FAILURES_SHOWN]:
            complain(printable(f"{outcome.name}: {failure}"))
        if len(outcome.failures) > _FAILURES_SHOWN:
            complain(printable(f"{outcome.name}: {len(outcome.failures) - _FAILURES_SHOWN} more"))
    refined, kept = (sum(getattr(outcome, field) for outcome in outcomes) for field in ("refined", "kept"))
    before = sum(not outcome.refined and not outcome.failures for outcome in outcomes)
    print(f"Refined {len(outcomes) - len(failed) - before} of {len(outcomes)} recordings in {seconds:.1f} s")
    print(f"  done before   {before} recordings, {kept} frames")
    print(f"  failed        {len(failed)} recordings")
    print(f"  frames        {refined}, {refined / seconds:.1f} frames/s")
    print(f"  results       {printable(str(output))}")
    return 1 if failed else 0
