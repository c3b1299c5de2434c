"""The refiner: a small U-Net that guides the propagation of depth.

From the frame the U-Net predicts how similar neighbouring pixels are, how far measured depth can be trusted, how
surfaces slope, and how confident the result is. With these weights depth is propagated from coarse to fine, on four
levels: an eighth, a quarter, half and all of the resolution. A neighbour's depth is extrapolated along the slope, so that slanted
planes are continued exactly whatever the weights. The similarity of two pixels is initially that of their colours;
training adds to it.

Inside, depth is the logarithm of depth over the frame's mean, so the unit does not matter. Sums over the image are
means, divisors have a lower bound and values stay between 1e-7 and 65504, so that everything fits 16-bit floats.
"""

import torch
import torch.nn.functional as functional
from torch import nn

MULTIPLE = 32  # the padded image's sides are multiples of it
LEVELS = 4  # of propagation: level k has 1 / 2^k of the resolution
STEPS = (3, 4, 5, 6)  # of propagation, per level
CHANNELS = (24, 32, 48, 64, 96)  # of the U-Net, from half to 1 / 32 of the resolution
FINE = 12  # channels at full resolution
EMBEDDING = 3  # learned channels of likeness, beside the colour
COLOR_SCALE = 16.0
LEAST_TRUST = 2e-3
SEED_TRUST = 0.1  # of what the U-Net puts into holes at the coarsest level
GREATEST_RATIO = 100.0  # of depth and the frame's mean
SHARPENINGS = 2
REACH = 3  # pixels in which sharpening looks for the two surfaces
SIDE = 0.05  # share of the step within which a pixel counts as lying on a surface
DOUBT_OF_CHANGE, GREATEST_CHANGE = 40.0, 0.05  # per change of a measured pixel, in log depth, and where that ends
DOUBT_OF_STEP, GREATEST_STEP = 3.0, 0.2  # per difference of a hidden pixel to those around it
NEIGHBOURS = [(dy, dx) for dy in (-1, 0, 1) for dx in (-1, 0, 1)]
SELF = NEIGHBOURS.index((0, 0))
HALF = NEIGHBOURS[:SELF]


def halved(x):
    return functional.avg_pool2d(x, 2)


def doubled(x):
    return functional.interpolate(x, scale_factor=2.0, mode="nearest")


def smooth_doubled(x):
    return functional.interpolate(x, scale_factor=2.0, mode="bilinear", align_corners=False)


def _fixed_kernels():
    """Convolutions that only move and add: cheap in every run-time, and beyond the border they read 0."""
    around = torch.zeros(len(NEIGHBOURS), 1, 3, 3)  # channel i is neighbour i's value
    differences = torch.zeros(len(HALF), 1, 3, 3)  # to the neighbours on one side, the others are theirs, moved
    spread = torch.zeros(len(NEIGHBOURS), len(HALF), 3, 3)
    for i, (dy, dx) in enumerate(NEIGHBOURS):
        around[i, 0, 1 + dy, 1 + dx] = 1
        if (dy, dx) in HALF:
            number = HALF.index((dy, dx))
            differences[number, 0, 1, 1], differences[number, 0, 1 + dy, 1 + dx] = 1, -1
            spread[i, number, 1, 1] = 1
        elif i != SELF:
            spread[i, HALF.index((-dy, -dx)), 1 + dy, 1 + dx] = 1
    offsets = torch.tensor([[dx, dy] for dy, dx in NEIGHBOURS], dtype=torch.float32).t().reshape(2, -1, 1, 1)
    return around, differences, spread, offsets


class Pyramid:
    """The measured depth at level 0 and halved again and again: means, extremes, the share of measured pixels."""

    def __init__(self, x, mask):
        self.share, sums = [mask], [x * mask]
        self.far, self.near = [x * mask - 20 * (1 - mask)], [-x * mask - 20 * (1 - mask)]
        for _ in range(len(CHANNELS)):
            self.share.append(halved(self.share[-1]))
            sums.append(halved(sums[-1]))
            self.far.append(functional.max_pool2d(self.far[-1], 2))
            self.near.append(functional.max_pool2d(self.near[-1], 2))
        self.mean = [s / torch.clamp(share, min=1e-4) for s, share in zip(sums, self.share)]
        self.known = [(share > 0).to(x.dtype) for share in self.share]

    def spread(self, level):
        """Distance of the farthest and the nearest measured value under a pixel, 0 where there are none."""
        return (self.far[level] + self.near[level]) * self.known[level]

    def filled(self):
        """Means, farthest and nearest values at levels 1 to 5, holes filled from the levels above."""
        return (self._pulled(self.mean, self._grown_mean()), self._pulled(self.far, self._grown_extreme(self.far[-1])),
                self._pulled([-near for near in self.near], -self._grown_extreme(self.near[-1])))

    def _grown_mean(self):
        value, known = self.mean[-1] * self.known[-1], self.known[-1]
        for _ in range(4):
            share = functional.avg_pool2d(known, 3, 1, 1)
            around = functional.avg_pool2d(value, 3, 1, 1) / torch.clamp(share, min=1e-4)
            value = known * value + (1 - known) * around
            known = (share > 0).to(value.dtype)
        return value

    def _grown_extreme(self, value):
        for _ in range(4):
            around = functional.max_pool2d(value, 3, 1, 1)
            value = torch.where(value > -10, value, around)
        return torch.where(value > -10, value, torch.zeros_like(value))

    def _pulled(self, values, coarsest):
        result = [coarsest]
        for level in range(len(CHANNELS) - 1, 0, -1):
            known = self.known[level]
            result.insert(0, known * values[level] + (1 - known) * doubled(result[0]))
        return result


def sharpened(value, mask, slope):
    """Moves hidden pixels that hang between two surfaces towards the nearer of the two in depth.

    Weighted means blur an edge that the colour does not show, and a point between two surfaces is worse than one on
    the wrong surface. `value` is logarithmic, `slope` is what a plane may differ by from pixel to pixel.
    """
    side = 2 * REACH + 1

    def greatest(x):
        row = functional.max_pool2d(x, (1, side), 1, (0, REACH))
        return functional.max_pool2d(row, (side, 1), 1, (REACH, 0))

    far, near = greatest(value), -greatest(-value)
    step = far - near
    place = (value - near) / torch.clamp(step, min=1e-3)  # 0 at the near surface, 1 at the far one
    steep = (place - 0.5) * 6 + 0.5
    moved = torch.maximum(torch.minimum(steep, torch.clamp(place, min=1 - SIDE)), torch.clamp(place, max=SIDE))
    excess = step - 2 * REACH * torch.abs(slope).sum(1, keepdim=True)
    edge = torch.clamp(20 * excess - 1, 0, 1)  # from differences of 5 % on, wholly from 10 %
    return value + (1 - mask) * edge * step * (moved - place)


def doubt(value, x, mask):
    """What the logit of confidence loses: at measured pixels that `value` contradicts, and at hidden ones on an edge.

    Training judges the confidence before sharpening, by tolerances that rank pixels of nearly the same error alike.
    """
    change = torch.clamp(torch.abs(x - value), max=GREATEST_CHANGE) * mask
    step = functional.max_pool2d(value, 3, 1, 1) + functional.max_pool2d(-value, 3, 1, 1)
    return DOUBT_OF_CHANGE * change + DOUBT_OF_STEP * torch.clamp(step, max=GREATEST_STEP) * (1 - mask)


class Block(nn.Module):
    def __init__(self, inputs, outputs, count, stride=1):
        super().__init__()
        self.layers = nn.ModuleList(nn.Conv2d(outputs if i else inputs, outputs, 3, 1 if i else stride, 1)
                                    for i in range(count))

    def forward(self, x):
        for layer in self.layers:
            x = torch.relu(layer(x))
        return x


class Body(nn.Module):
    """The U-Net: features at levels 1, 2, 3 of the propagation from the frame's inputs at levels 0 and 1."""

    def __init__(self):
        super().__init__()
        self.at_full = nn.Conv2d(5, CHANNELS[0], 4, 2, 1)
        self.at_half = nn.Conv2d(5, CHANNELS[0], 3, 1, 1)
        steps = list(zip(CHANNELS, CHANNELS[1:]))
        self.down = nn.ModuleList(Block(a, b, 2, 2) for a, b in steps)
        self.narrow = nn.ModuleList(nn.Conv2d(b, a, 1) for a, b in steps)
        self.up = nn.ModuleList(Block(a, a, 2 if i else 1) for i, (a, _) in enumerate(steps))

    def forward(self, full, half):
        features = [torch.relu(self.at_full(full) + self.at_half(half))]
        for block in self.down:
            features.append(block(features[-1]))
        x = features.pop()
        results = []
        for narrow, block in zip(reversed(self.narrow), reversed(self.up)):
            x = block(features.pop() + doubled(narrow(x)))
            results.insert(0, x)
        return results[:LEVELS - 1]


class Propagation(nn.Module):
    """One level's spreading of depth. Its guide: the embedding, the measurement's trust and the seed's."""

    GUIDES = EMBEDDING + 2

    def __init__(self, level):
        super().__init__()
        self.level, self.steps = level, STEPS[level]
        self.color_scale = nn.Parameter(torch.full((1, 3, 1, 1), COLOR_SCALE))
        self.spread_scale = nn.Parameter(torch.tensor(8.0))
        around, differences, spread, offsets = _fixed_kernels()
        channels = 3 + EMBEDDING
        sums = torch.eye(len(HALF)).repeat(1, channels).reshape(len(HALF), -1, 1, 1)
        for name, kernel in (("around", around), ("differences", differences.repeat(channels, 1, 1, 1)),
                             ("sums", sums), ("spread", spread), ("offsets", offsets)):
            self.register_buffer(name, kernel, persistent=False)

    def forward(self, weights, guide, color, seed, seed_trust, measured, share, spread, slope):
        """The depth at this level, how far it is the measured one, and how far it is to be trusted.

        `weights`: 9 channels; `seed` with its trust, from the level above; `share` of measured pixels and the `spread`
        of their depths; `slope` in x and y.
        """
        embedding, anchor, trust = torch.split(guide, [EMBEDDING, 1, 1], 1)
        keep = share * torch.exp(-torch.abs(self.spread_scale) * spread) * torch.sigmoid(anchor)
        rest = 1 - keep
        trusted = keep + rest * (torch.sigmoid(trust) * seed_trust + LEAST_TRUST)
        weights = torch.softmax(weights - self._distance(color, embedding), 1) * self._neighbours(trusted)
        total = weights.sum(1, keepdim=True)
        share = rest / torch.clamp(total, min=1e-4)  # divides one channel where dividing the weights took nine
        # What the weighted neighbours are off the pixel's own depth when the surface has this slope.
        off = (slope * functional.conv2d(weights, self.offsets)).sum(1, keepdim=True)
        kept = keep * measured - share * off * float(2**self.level)
        value = seed + keep * (measured - seed)
        for _ in range(self.steps):
            value = kept + share * (weights * self._neighbours(value)).sum(1, keepdim=True)
        return value, keep, keep + rest * total

    def _neighbours(self, x):
        return functional.conv2d(x, self.around, padding=1)

    def _distance(self, color, embedding):
        likeness = torch.cat([color * self.color_scale, embedding], 1)
        difference = functional.conv2d(likeness, self.differences, padding=1, groups=likeness.shape[1])
        return functional.conv2d(functional.conv2d(torch.abs(difference), self.sums), self.spread, padding=1)


def _head(inputs, outputs, kernel=3):
    layer = nn.Conv2d(inputs, outputs, kernel, 1, kernel // 2)
    with torch.no_grad():
        layer.weight.mul_(0.1)
        layer.bias.zero_()
    return layer


class Refiner(nn.Module):
    """For sides that are multiples of MULTIPLE. `parts` is what training sees, `forward` what `Engine` wraps."""

    def __init__(self):
        super().__init__()
        self.body = Body()
        for module in self.body.modules():
            if isinstance(module, nn.Conv2d):
                nn.init.kaiming_normal_(module.weight)
                nn.init.zeros_(module.bias)
        self.levels = nn.ModuleList(Propagation(level) for level in range(LEVELS))
        guides = Propagation.GUIDES
        widths = (FINE, *CHANNELS[:LEVELS - 1])
        self.weights = nn.ModuleList(_head(width, len(NEIGHBOURS), 1 if width == FINE else 3) for width in widths)
        self.guides = nn.ModuleList(_head(width, guides, 1 if width == FINE else 3) for width in widths)
        self.seed = _head(CHANNELS[LEVELS - 2], 3)
        self.extra = _head(CHANNELS[0], 3)  # slope in x and y, confidence
        self.fine_image = nn.Conv2d(5, FINE, 3, 1, 1)
        self.fine_body = nn.Conv2d(CHANNELS[0], FINE, 1)
        self.confidence = _head(FINE + 3, 1, 1)
        with torch.no_grad():
            for weights, guide in zip(self.weights, self.guides):
                weights.bias[SELF] = -1.0
                guide.bias[-2] = 2.0
            self.seed.bias[:2] = -3.0

    @staticmethod
    def normalise(dep):
        """Logarithm of depth over the mean depth of the frame, the mask of measured pixels, and that mean."""
        dep = torch.clamp(dep, max=65504.0)
        mask = (dep > 0).to(torch.float32)
        mean = (dep * mask).mean((1, 2, 3), keepdim=True) / torch.clamp(mask.mean((1, 2, 3), keepdim=True), min=1e-7)
        ratio = dep / torch.clamp(mean, min=1e-4)
        return torch.log(torch.clamp(ratio, 1 / GREATEST_RATIO, GREATEST_RATIO)) * mask, mask, mean

    def inputs(self, color, x, mask, pyramid, fills):
        """Channels of the U-Net at full and at half resolution."""
        mean, far, near = fills
        detail = torch.clamp((x - smooth_doubled(smooth_doubled(mean[1]))) * 8, -2, 2) * mask
        low = doubled(doubled(doubled(mean[3])))
        half = torch.cat([mean[0], 2 * (far[0] - mean[0]), 2 * (near[0] - mean[0]), pyramid.share[1],
                          torch.clamp((mean[0] - low) * 5, -2, 2)], 1)
        return torch.cat([color, mask, detail], 1), half

    def _read(self, full, half, mixed):
        """All that comes of convolutions: per level the weights and the guide; the slope and confidence at level 1."""
        with torch.autocast(full.device.type, torch.bfloat16, enabled=mixed):
            features = self.body(full, half)
            fine = torch.relu(self.fine_image(full) + doubled(self.fine_body(features[0])))
            levels = [fine, *features]
            weights = [head(f).float() for head, f in zip(self.weights, levels)]
            guides = [head(f).float() for head, f in zip(self.guides, levels)]
            return fine.float(), weights, guides, self.extra(features[0]).float(), self.seed(features[-1]).float()

    def parts(self, rgb, dep, mixed=False):
        """Everything that a loss looks at, by name. `mixed`: the U-Net in 16-bit floats, where it can."""
        color = rgb.to(torch.float32) / 255 - 0.5
        x, mask, mean = self.normalise(dep)
        pyramid = Pyramid(x, mask)
        fills = pyramid.filled()
        fine, weights, guides, extra, seed = self._read(*self.inputs(color, x, mask, pyramid, fills), mixed)
        slope = [0.02 * extra[:, :2]]
        colors = [color]
        for level in range(1, LEVELS):
            colors.append(halved(colors[-1]))
            slope.append(halved(slope[-1]))
        slope.insert(0, doubled(slope[0]))
        seed = self._seed(seed, fills)
        trust = torch.full_like(seed, SEED_TRUST)
        values = []
        for level in range(LEVELS - 1, -1, -1):
            if values:
                seed, trust = self._finer(values[0], slope[level + 1], level), doubled(trust)
            value, keep, trust = self.levels[level](
                weights[level], guides[level], colors[level], seed, trust, pyramid.mean[level], pyramid.share[level],
                pyramid.spread(level), slope[level])
            values.insert(0, value)
        change = torch.clamp(10 * torch.abs(x - value.detach()), max=2.0) * mask
        kernel, bias = self.confidence.weight, self.confidence.bias  # applied in two parts, which saves joining the inputs
        confidence = (functional.conv2d(fine, kernel[:, :FINE], bias) + doubled(extra[:, 2:])
                      + functional.conv2d(torch.cat([mask, change, keep.detach()], 1), kernel[:, FINE:]))
        return {"values": values, "slopes": slope, "confidence": confidence, "keep": keep, "mask": mask, "mean": mean, "x": x}

    @staticmethod
    def _seed(out, fills):
        mean, far, near = (fill[LEVELS - 2] for fill in fills)
        return (mean + torch.sigmoid(out[:, 0:1]) * (far - mean) + torch.sigmoid(out[:, 1:2]) * (near - mean)
                + 0.2 * out[:, 2:3])

    @staticmethod
    def _finer(value, slope, level):
        """The planes of the level above at this level's pixels, whose centres lie half a pixel off its own."""
        x, y = (0.5 * 2**level * part for part in torch.split(slope, 1, 1))
        return functional.pixel_shuffle(torch.cat([value - x - y, value + x - y, value - x + y, value + x + y], 1), 2)

    def forward(self, rgb, dep):
        parts = self.parts(rgb, dep)
        value = parts["values"][0]
        for _ in range(SHARPENINGS):
            value = sharpened(value, parts["keep"], parts["slopes"][0])
        confidence = parts["confidence"] - doubt(value, parts["x"], parts["mask"])
        return torch.exp(value) * parts["mean"], torch.sigmoid(confidence)
