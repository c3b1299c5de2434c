#!/usr/bin/env python3
"""Trains the refiner from scratch: generates synthetic frames, trains the network on them and writes it as ONNX.

    models/train.py --work build/training --output models/refiner.onnx

Frames, checkpoints and the log are kept below --work. After an interruption, run it again with the same --work to
resume from the last checkpoint. Needs Python 3.11 and the packages of models/requirements.txt.
"""

import argparse
import json
import math
import os
import pathlib
import subprocess
import sys
import time

import numpy as np
import torch

from training.export import export
from training.holes import hide
from training.loss import figures, loss
from training.network import Refiner

SHARD = 250  # frames of a file
WIDTH, HEIGHT = 160, 128
CHECK_SEED = 9001  # of the frames that training never sees; training seeds must stay below
CHECK_FRAMES = 48
SMOOTHING = 0.998  # of the running mean of the weights, which is what is exported


def make_shards(folder, seed, count, jobs):
    """Generates those of the `count` files of frames, and of the file for checks, that do not exist yet."""
    folder.mkdir(parents=True, exist_ok=True)
    wanted = [(folder / f"{seed * 1000 + i:07d}.npz", seed * 1000 + i, SHARD) for i in range(count)]
    wanted.append((folder / "check.npz", CHECK_SEED * 1000, CHECK_FRAMES))
    missing = [w for w in wanted if not w[0].exists()]
    code = ("import sys; from training.samples import FrameMaker, write_shard; path, seed, frames, width, height = sys.argv[1:];"
            "write_shard(path, FrameMaker(int(seed), int(width), int(height)), int(frames))")
    environment = dict(os.environ, OMP_NUM_THREADS="1", OPENBLAS_NUM_THREADS="1",
                       PYTHONPATH=str(pathlib.Path(__file__).resolve().parent))
    running = []
    for number, (path, shard_seed, frames) in enumerate(missing):
        running.append(subprocess.Popen([sys.executable, "-c", code, str(path), str(shard_seed), str(frames),
                                         str(WIDTH), str(HEIGHT)], env=environment))
        if len(running) == jobs or number + 1 == len(missing):
            if any(process.wait() for process in running):
                raise RuntimeError(f"making frames failed; the files in {folder} are complete, start again")
            running = []
            print(f"frames: {number + 1} of {len(missing)} files", flush=True)
    return [path for path, _, _ in wanted[:-1]], wanted[-1][0]


class Samples:
    """Frames in memory, handed out in shuffled batches of tensors, mirrored and with their colours exchanged."""

    def __init__(self, paths, seed):
        files = [np.load(path) for path in paths]
        self.color, self.depth, self.truth = ([file[name] for file in files] for name in ("color", "depth", "truth"))
        self.rng = np.random.default_rng(seed)
        self.order = []

    def batch(self, size, clean_share, device):
        if len(self.order) < size:
            self.order = [(i, j) for i, part in enumerate(self.color) for j in range(len(part))]
            self.rng.shuffle(self.order)
        chosen, self.order = self.order[:size], self.order[size:]
        batch = [self._augmented(*(part[i][j] for part in (self.color, self.depth, self.truth)), clean_share)
                 for i, j in chosen]
        color, depth, truth = (torch.from_numpy(np.stack(parts)).to(device) for parts in zip(*batch))
        return color, depth[:, None], truth[:, None]

    def _augmented(self, color, depth, truth, clean_share):
        depth = (truth if self.rng.random() < clean_share else depth).astype(np.float32)
        truth = truth.astype(np.float32)
        if self.rng.random() < 0.5:
            color, depth, truth = (a[:, ::-1] for a in (color, depth, truth))
        if self.rng.random() < 0.15:
            color, depth, truth = (a[::-1] for a in (color, depth, truth))
        return np.ascontiguousarray(color.transpose(2, 0, 1)[self.rng.permutation(3)]), depth.copy(), truth.copy()


class Check:
    """Figures on frames that training never sees, with some of their depth hidden, always the same."""

    def __init__(self, path, device):
        file = np.load(path)
        self.color = torch.from_numpy(file["color"]).permute(0, 3, 1, 2).contiguous().to(device)
        depth, self.truth = (torch.from_numpy(file[name].astype(np.float32))[:, None].to(device)
                             for name in ("depth", "truth"))
        self.depth = depth * ~hide(torch.Generator().manual_seed(0), self.truth)

    @torch.no_grad()
    def __call__(self, network):
        network.eval()
        result = figures(network.parts(self.color, self.depth), self.truth)
        other = figures(network.parts(self.color.roll(1, 0), self.depth), self.truth)
        network.train()
        result["hidden_right_by_other_color"] = result["hidden_%"] / other["hidden_%"]
        return {name: round(value, 4) for name, value in result.items()}


class Training:
    def __init__(self, options, paths, check_path):
        self.options = options
        self.device = "cuda" if torch.cuda.is_available() else "cpu"
        torch.manual_seed(options.seed)
        self.network, self.mean = (Refiner().to(self.device, memory_format=torch.channels_last) for _ in range(2))
        self.mean.load_state_dict(self.network.state_dict())
        self.optimizer = torch.optim.Adam(self.network.parameters(), lr=options.rate, betas=(0.9, 0.99))
        self.step, self.seconds = 0, 0.0
        self.holes = torch.Generator()
        self.samples = Samples(paths, options.seed)
        self.check = Check(check_path, self.device)
        self.checkpoint = options.work / "checkpoint.pt"
        if self.checkpoint.exists():
            self._resume()
        self.log = open(options.work / "log.jsonl", "a", encoding="utf-8")

    def _resume(self):
        state = torch.load(self.checkpoint, map_location=self.device)
        self.network.load_state_dict(state["network"])
        self.mean.load_state_dict(state["mean"])
        self.optimizer.load_state_dict(state["optimizer"])
        self.step, self.seconds = state["step"], state["seconds"]
        self.samples.rng = np.random.default_rng([self.options.seed, self.step])
        print(f"going on from step {self.step}, after {self.seconds / 3600:.2f} hours", flush=True)

    def save(self):
        partial = self.checkpoint.with_suffix(".partial")
        torch.save({"network": self.network.state_dict(), "mean": self.mean.state_dict(),
                    "optimizer": self.optimizer.state_dict(), "step": self.step, "seconds": self.seconds}, partial)
        os.replace(partial, self.checkpoint)

    def progress(self):
        """0 to 1: by steps or by time, whichever is ahead."""
        return min(1.0, max(self.step / self.options.steps, self.seconds / (3600 * self.options.hours)))

    def one_step(self):
        progress = self.progress()
        rate = self.options.rate * min(1, (self.step + 1) / 100) * (0.5 + 0.5 * math.cos(math.pi * progress)) + 1e-6
        for group in self.optimizer.param_groups:
            group["lr"] = rate
        clean_share = max(0.1, 0.5 - 1.5 * progress)
        color, depth, truth = self.samples.batch(self.options.batch, clean_share, self.device)
        self.holes.manual_seed(self.options.seed * 1_000_003 + self.step)
        depth = depth * ~hide(self.holes, truth)
        parts = self.network.parts(color, depth, mixed=True)
        total, terms = loss(parts, truth)
        self.optimizer.zero_grad(set_to_none=True)
        total.backward()
        torch.nn.utils.clip_grad_norm_(self.network.parameters(), 1.0)
        self.optimizer.step()
        self.step += 1
        smoothing = min(SMOOTHING, self.step / (self.step + 10))
        with torch.no_grad():
            for mean, new in zip(self.mean.parameters(), self.network.parameters()):
                mean.lerp_(new, 1 - smoothing)
        return {"loss": float(total.detach()), **terms, **figures(parts, truth)}

    def report(self, sums, count):
        line = {"step": self.step, "hours": round(self.seconds / 3600, 3),
                **{name: round(value / count, 4) for name, value in sums.items()}}
        if self.step % self.options.check_every == 0:
            line["check"] = self.check(self.mean)
            self.save()
        text = json.dumps(line)
        print(text, flush=True)
        self.log.write(text + "\n")
        self.log.flush()

    def run(self):
        sums, count = {}, 0
        while self.progress() < 1:
            start = time.monotonic()
            for name, value in self.one_step().items():
                sums[name] = sums.get(name, 0) + value
            count += 1
            self.seconds += time.monotonic() - start
            if self.step % self.options.report_every == 0:
                self.report(sums, count)
                sums, count = {}, 0
        self.save()
        return self.check(self.mean)


def parse(arguments):
    parser = argparse.ArgumentParser(description="Trains the refiner on synthetic frames and writes it as ONNX.")
    parser.add_argument("--work", type=pathlib.Path, required=True, help="folder for frames, checkpoints and the log")
    parser.add_argument("--output", type=pathlib.Path, required=True, help="the ONNX model to write")
    parser.add_argument("--seed", type=int, default=1, help="of frames and training, 0 to 9000 (default 1)")
    parser.add_argument("--frames", type=int, default=40, help=f"files of {SHARD} frames to train on (default 40)")
    parser.add_argument("--steps", type=int, default=20000, help="at most this many steps (default 20000)")
    parser.add_argument("--hours", type=float, default=4.0, help="at most this long in training (default 4)")
    parser.add_argument("--batch", type=int, default=8, help="frames of a step (default 8)")
    parser.add_argument("--rate", type=float, default=2e-3, help="the greatest learning rate (default 0.002)")
    parser.add_argument("--threads", type=int, default=os.cpu_count(), help="processor threads (default: all)")
    parser.add_argument("--report-every", type=int, default=50, help="steps between lines of the log (default 50)")
    parser.add_argument("--check-every", type=int, default=250,
                        help="steps between checkpoints, a multiple of --report-every (default 250)")
    options = parser.parse_args(arguments)
    if not 0 <= options.seed < CHECK_SEED:
        parser.error(f"--seed {options.seed}: give 0 to {CHECK_SEED - 1}, the rest is kept for checks")
    if options.check_every % options.report_every:
        parser.error(f"--check-every {options.check_every} is no multiple of --report-every {options.report_every}")
    return options


def main(arguments=None):
    options = parse(arguments)
    torch.set_num_threads(options.threads)
    torch.set_flush_denormal(True)
    paths, check = make_shards(options.work / "frames", options.seed, options.frames, options.threads)
    training = Training(options, paths, check)
    result = training.run()
    export(training.mean.cpu(), options.output)
    print(f"{options.output}: {training.step} steps, {training.seconds / 3600:.2f} hours; {json.dumps(result)}")


if __name__ == "__main__":
    main()
