#!/usr/bin/env python3
"""Hides what lies in some directions in a picture of NV12, as hide.c does: libvela-overlay by ctypes.

usage: hide.py [PAN [TILT]] <picture >hidden
"""

import ctypes
import sys
from ctypes import POINTER, byref, c_double, c_int32, c_size_t, c_ubyte, c_void_p


class Direction(ctypes.Structure):
    _fields_ = [("pan", c_double), ("tilt", c_double)]


class Orientation(ctypes.Structure):
    _fields_ = [("pan", c_double), ("tilt", c_double), ("roll", c_double)]


class Lens(ctypes.Structure):
    _fields_ = [("model", c_int32)] + [(name, c_double) for name in ("fov", "fx", "fy", "cx", "cy")]
    _fields_ += [("distortion", c_double * 5)]


class Plane(ctypes.Structure):
    _fields_ = [("data", c_void_p), ("size", c_size_t), ("stride", c_size_t)]


class Picture(ctypes.Structure):
    _fields_ = [(name, c_int32) for name in ("width", "height", "format", "colours")] + [("planes", Plane * 3)]


PINHOLE, NV12, BT709_STUDIO = 1, 5, 2

vela = ctypes.CDLL("libvela-overlay.so.1")
for name, result, arguments in (
    ("vela_picture_lay_out", c_size_t, [POINTER(Picture), c_void_p, c_size_t]),
    ("vela_lens_of_fov", Lens, [c_int32, c_int32, c_int32, c_double]),
    ("vela_view_make", c_void_p, [c_int32, c_int32, POINTER(Orientation), POINTER(Lens)]),
    ("vela_view_free", None, [c_void_p]),
    ("vela_mask_make", c_void_p, [POINTER(Direction), c_size_t]),
    ("vela_mask_free", None, [c_void_p]),
    ("vela_mask_hide", c_int32, [c_void_p, c_void_p, c_void_p, POINTER(Picture), c_void_p]),
):
    function = getattr(vela, name)
    function.restype, function.argtypes = result, arguments


def hide(picture, where, corners):
    lens = vela.vela_lens_of_fov(PINHOLE, picture.width, picture.height, 60)
    view = vela.vela_view_make(picture.width, picture.height, byref(where), byref(lens))
    door = vela.vela_mask_make((Direction * len(corners))(*corners), len(corners))
    done = view and door and vela.vela_mask_hide(door, view, None, byref(picture), None) == 0
    vela.vela_mask_free(door)
    vela.vela_view_free(view)
    return done


def main():
    picture = Picture(640, 360, NV12, BT709_STUDIO)
    size = vela.vela_picture_lay_out(byref(picture), None, 0)
    memory = (c_ubyte * size).from_buffer_copy(sys.stdin.buffer.read(size))
    vela.vela_picture_lay_out(byref(picture), memory, size)
    where = Orientation(*map(float, sys.argv[1:3]))
    if not hide(picture, where, [(-5, 8), (5, 8), (5, -12), (-5, -12)]):
        sys.exit("not hidden")
    sys.stdout.buffer.write(memory)


main()
