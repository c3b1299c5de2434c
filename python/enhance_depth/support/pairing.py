"""Which colour image belongs to which depth image: the nearest by time stamp, each used once."""

from __future__ import annotations

import bisect
from typing import Sequence


def pair(depth: Sequence[int], color: Sequence[int], largest_difference: int) -> dict[int, int]:
    """Indices of depth stamps to indices of colour stamps, nearest pairs first, earlier ones at equal distance."""
    order = sorted(range(len(color)), key=color.__getitem__)
    stamps = [color[index] for index in order]
    candidates = []
    for depth_index, stamp in enumerate(depth):
        first = bisect.bisect_left(stamps, stamp - largest_difference)
        last = bisect.bisect_right(stamps, stamp + largest_difference)
        candidates += [(abs(stamp - stamps[at]), stamp, depth_index, order[at]) for at in range(first, last)]
    pairs: dict[int, int] = {}
    taken: set[int] = set()
    for _, _, depth_index, color_index in sorted(candidates):
        if depth_index not in pairs and color_index not in taken:
            pairs[depth_index] = color_index
            taken.add(color_index)
    return pairs
