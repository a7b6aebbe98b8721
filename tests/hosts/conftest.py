# What the host tests share: the programs under test (from the environment CTest sets), frames
# read as arrays, and "over" written as the plug-in writes it.
import os
import pathlib
import subprocess

import numpy as np
import pytest

TAVRIN = os.environ.get("TAVRIN", "")
FREI0R_DIR = os.environ.get("TAVRIN_FREI0R_DIR", "")
SOURCE_DIR = pathlib.Path(os.environ.get("TAVRIN_SOURCE_DIR", pathlib.Path(__file__).parents[2]))
EXAMPLES = SOURCE_DIR / "examples"


def run(args, env=None, check=True):
    """Runs a program, returning (stdout bytes, stderr text); a failure shows both."""
    done = subprocess.run(args, capture_output=True, env=env, timeout=300)
    stderr = done.stderr.decode(errors="replace")
    if check and done.returncode != 0:
        raise AssertionError(f"{args[0]} exited {done.returncode}:\n{stderr}")
    return done.stdout, stderr


def run_melt(args, frames, env):
    """Runs melt until it has written every file of `frames`. On a busy machine melt (7.12) now
    and then ends at once, with exit 0 and no frame written, as if its consumer had stopped
    before it started; such a run is repeated, at most twice. A run that fails, or writes some
    frames but not all, fails the test at once."""
    for attempt in range(3):
        for frame in frames:
            frame.unlink(missing_ok=True)
        _, log = run(["melt"] + args, env=env)
        written = [f for f in frames if f.exists()]
        if len(written) == len(frames):
            return log
        assert not written, f"melt wrote {len(written)} of {len(frames)} frames:\n{log}"
    raise AssertionError(f"melt ended three times without writing a frame:\n{log}")


def decode_rgba(path, width, height):
    """An image file as straight 8-bit RGBA (height, width, 4), decoded by ffmpeg."""
    out, _ = run(["ffmpeg", "-v", "error", "-i", str(path), "-f", "rawvideo", "-pix_fmt", "rgba",
                  "-"])
    return np.frombuffer(out, np.uint8).reshape(height, width, 4)


def tavrin_frame(document, frame, tmp_path, scale="1", comp=None):
    """Frame `frame` of the document as `tavrin render` writes it to an 8-bit PNG."""
    png = tmp_path / f"tavrin_{frame}.png"
    args = [TAVRIN, "render", str(document), "--frames", str(frame), "-o", str(png),
            "--scale", scale]
    if comp:
        args += ["--comp", comp]
    run(args)
    with open(png, "rb") as f:
        head = f.read(24)
    width = int.from_bytes(head[16:20], "big")
    height = int.from_bytes(head[20:24], "big")
    return decode_rgba(png, width, height)


def over(top, under):
    """Straight 8-bit RGBA `top` over straight 8-bit RGBA `under`, rounded, as the plug-in."""
    t = top.astype(np.float64) / 255
    u = under.astype(np.float64) / 255
    ta, ua = t[..., 3:4], u[..., 3:4]
    a = ta + ua * (1 - ta)
    colour = np.where(a > 0, (t[..., :3] * ta + u[..., :3] * ua * (1 - ta)) / np.maximum(a, 1e-12),
                      0)
    out = np.concatenate([colour, a], axis=-1)
    return np.rint(np.clip(out, 0, 1) * 255).astype(np.uint8)


def frei0r_env():
    env = dict(os.environ)
    env["FREI0R_PATH"] = FREI0R_DIR
    return env


@pytest.fixture
def tmp(tmp_path):
    return tmp_path
