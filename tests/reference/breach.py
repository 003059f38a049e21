# SPDX-License-Identifier: Apache-2.0
"""Keeping the output crop inside the frame: the test, the search for alpha, its decay."""
import math

from arithmetic import f32, fma
from geometry import apply, certainly_on_or_outside, contact, rotation_homography

ZERO = (0.0, 0.0, 0.0)
STEP, IIR_WEIGHT = 0.02, f32(0.2)
RATE, RATE_BLUR = 0.1, 0.02
SETTLING = 0.30000001192092896


def crop_fits(boundary, correction, frame, camera, log):
    """Whether the crop, grown by two pixels and turned by the correction, stays inside."""
    if any(abs(angle) > math.pi for angle in correction):
        log('[ERR] ', 'IS0002', 'Major filter error, correction angle (%f, %f, %f) is crazy, '
            'filter has issue.' % correction)
        return False
    left, top, right, bottom = frame.output_rect
    m = rotation_homography(camera, tuple(-a for a in correction), frame.scale)
    corners = [tuple(map(f32, apply(m, x, y)))
               for x, y in ((left - 2.0, top - 2.0), (right + 2.0, top - 2.0),
                            (right + 2.0, bottom + 2.0), (left - 2.0, bottom + 2.0))]
    polygon = [(f32(x), f32(y)) for x, y in boundary]
    for i, corner in enumerate(corners):
        for j, vertex in enumerate(polygon):
            if contact(corner, corners[(i + 1) % 4], vertex, polygon[(j + 1) % 16]):
                return False
    return not certainly_on_or_outside(polygon, corners[0])


def blended(filtered, alternative, orientation, alpha):
    return tuple(fma(alpha, alt - f, f) - o
                 for f, alt, o in zip(filtered, alternative, orientation))


class BreachControl:
    def __init__(self, log):
        self.log = log
        self.previous = ZERO
        self.reset()

    def reset(self):
        self.alpha = 0.0
        self.settle_frames = 0
        self.feasible = True

    def _search(self, least, filtered, alternative, orientation, fits):
        """The least alpha, in steps from `least`, at which the crop fits; 1.0 if none below."""
        alpha = max(0.0, least)
        while alpha < 1.0:
            if fits(blended(filtered, alternative, orientation, alpha)):
                return alpha
            alpha += STEP
        return 1.0

    def correct(self, filtered, orientation, least, boundary, frame, camera):
        """No lens shift here: the stored and the fresh alternative are the orientation itself."""
        def fits(correction):
            return crop_fits(boundary, correction, frame, camera, self.log)

        wanted = self._search(least, filtered, orientation, orientation, fits)
        if wanted >= 1.0:
            wanted = self._search(least, filtered, orientation, orientation, fits)
            self.log('[ERR] ', 'IS0530', f'frame_id {frame.frame_id}: calc_future_alpha() Failed '
                     'to get blend with alternative')
        self.alpha = self._smooth(wanted, RATE_BLUR if least > 0 else RATE)
        correction = blended(filtered, orientation, orientation, self.alpha)
        if self.settle_frames:
            correction = tuple(p + SETTLING * (c - p) for p, c in zip(self.previous, correction))
            self.settle_frames -= 1
        self.previous = correction
        self.feasible = self.alpha != 1.0 or fits(correction)
        if not self.feasible:
            self.log('[ERR] ', 'IS0530', f'frame_id {frame.frame_id}: No feasible solution can be '
                     'found due to severe shake.')
        return correction

    def _smooth(self, wanted, rate):
        blend = (1.0 - IIR_WEIGHT) * self.alpha + IIR_WEIGHT * wanted
        return max(self.alpha - rate, min(max(wanted, blend, 0.0), 1.0))

    def drain(self):
        """A frame of termination needs no breach control; alpha decays."""
        self.alpha = self._smooth(0.0, RATE)
