"""Which colour image belongs to which depth image: the nearest by time stamp, each used once."""

from __future__ import annotations

import heapq
from typing import Sequence


def pair(depth: Sequence[int], color: Sequence[int], largest_difference: int) -> dict[int, int]:
    """Indices of depth stamps to indices of colour stamps, nearest pairs first, earlier ones at equal distance.

    However large the difference, the memory is proportional to the number of stamps.
    """
    # All images in the order of their stamps, as a linked list from which pairs are taken out. The nearest pair of
    # those that remain is always adjacent: anything between the two would be nearer to one of them.
    colors = [(stamp, 0, index) for index, stamp in enumerate(color)]
    images = sorted(colors + [(stamp, 1, index) for index, stamp in enumerate(depth)])
    before, after = list(range(-1, len(images) - 1)), list(range(1, len(images) + 1))
    candidates: list[tuple[int, int, int]] = []

    def consider(left: int, right: int) -> None:
        if left >= 0 and right < len(images) and images[left][1] != images[right][1]:
            distance = images[right][0] - images[left][0]
            if distance <= largest_difference:
                heapq.heappush(candidates, (distance, left, right))

    for left in range(len(images) - 1):
        consider(left, left + 1)
    pairs: dict[int, int] = {}
    taken = [False] * len(images)
    while candidates:
        _, left, right = heapq.heappop(candidates)
        if taken[left] or taken[right]:
            continue
        taken[left] = taken[right] = True
        one, other = (left, right) if images[left][1] else (right, left)
        pairs[images[one][2]] = images[other][2]
        outer_left, outer_right = before[left], after[right]
        if outer_left >= 0:
            after[outer_left] = outer_right
        if outer_right < len(images):
            before[outer_right] = outer_left
        consider(outer_left, outer_right)
    return pairs
