"""What training minimises, and the figures that it logs."""

import torch
import torch.nn.functional as functional

from .network import halved

TOLERANCES = (0.01, 0.02, 0.05, 0.10, 0.25)  # relative errors; confidence is the expected fraction of them that hold
SOFT = 0.1  # larger errors count less and less: what cannot be known must not dominate
STEEPEST = 0.03  # slope, in log depth per pixel; anything steeper is an edge


def mean_where(value, where):
    return (value * where).sum() / torch.clamp(where.sum(), min=1)


def softened(error):
    return 1.5 * SOFT * torch.log1p(error / SOFT)


def _differences(x):
    return x[..., 1:] - x[..., :-1], x[..., 1:, :] - x[..., :-1, :]


def edges(value, truth):
    """Mean difference of the gradients, up to 0.1."""
    return sum((a - b).abs().clamp(max=0.1).mean() for a, b in zip(_differences(value), _differences(truth)))


def slopes(slope, truth):
    """Mean difference of the slope at half resolution and the truth's, where that is no edge."""
    half = halved(truth)
    across = (half[..., 1:-1, 2:] - half[..., 1:-1, :-2]) / 4
    down = (half[..., 2:, 1:-1] - half[..., :-2, 1:-1]) / 4
    target = torch.cat([across, down], 1)
    inside = (target.abs().amax(1, keepdim=True) < STEEPEST).to(target.dtype)
    return mean_where((slope[..., 1:-1, 1:-1] - target).abs(), inside.expand_as(target))


def trustworthiness(error):
    return sum((error < tolerance).to(error.dtype) for tolerance in TOLERANCES) / len(TOLERANCES)


def loss(parts, truth):
    """The loss and a dictionary of its parts. `truth` is depth in the unit of the input, above 0 everywhere."""
    target = torch.log(truth / parts["mean"])
    visible, value = parts["mask"], parts["values"][0]
    error = (value - target).abs()
    bounded = softened(error)
    terms = {"hidden": mean_where(bounded, 1 - visible), "visible": 3 * mean_where(bounded, visible),
             "edges": 3 * edges(value, target), "slopes": 20 * slopes(parts["slopes"][1], target)}
    coarse, coarse_target = 0, target
    for level in parts["values"][1:]:
        coarse_target = halved(coarse_target)
        coarse = coarse + softened((level - coarse_target).abs()).mean()
    terms["coarse"] = 0.5 * coarse
    terms["confidence"] = 0.1 * functional.binary_cross_entropy_with_logits(
        parts["confidence"], trustworthiness(error.detach()))
    return sum(terms.values()), {name: float(term.detach()) for name, term in terms.items()}


@torch.no_grad()
def figures(parts, truth):
    """Mean relative errors in percent: of hidden pixels, of visible ones, and of the sensor at the latter."""
    target = torch.log(truth / parts["mean"])
    error, visible = (parts["values"][0] - target).abs(), parts["mask"]
    sensor = (parts["x"] - target).abs()
    return {"hidden_%": 100 * float(mean_where(error, 1 - visible)), "visible_%": 100 * float(mean_where(error, visible)),
            "sensor_%": 100 * float(mean_where(sensor, visible)),
            "hidden_near_%": 100 * float(mean_where((error < 0.05).float(), 1 - visible))}
