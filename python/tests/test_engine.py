"""alad.Engine against the library called the literal way, against the tool's verification runs,
and with every kind of wrong argument."""
import logging

import numpy as np
import pytest

import alad
from conftest import frame12


@pytest.mark.parametrize(
    "order, size, block, filter, threads",
    [(1, (37, 65), 64, False, 1), (2, (130, 129), 128, True, 2), (3, (1, 3), 64, True, 1), (4, (17, 256), 256, False, 1),
     (5, (8, 8), 64, False, 1)],
)
def test_run_equals_the_entry_point_on_random_frames(rng, order, size, block, filter, threads):
    height, width = size
    alad.set_threads(threads)
    engine = alad.Engine(width=width, height=height, order=order, block=block, filter=filter, strength=12,
                         src_lux=300, dst_lux=9000)
    # A sequence (the CLTM passes the first frame through and maps later ones with the curves of
    # the frame before), through the literal path and then through run() in every form.
    frames = [frame12(rng, height, width) for _ in range(3)]
    engine.reset()
    expected = [alad._checks.run_copied(frame) for frame in frames]
    engine.reset()
    for frame, want in zip(frames, expected):
        np.testing.assert_array_equal(engine.run(frame), want)
    engine.reset()
    out16 = np.empty((height, width, 3), np.uint16)
    for frame, want in zip(frames, expected):
        rgb16 = np.ascontiguousarray(frame[..., ::-1]).astype(np.uint16)
        assert engine.run(rgb16, rgb=True, out=out16) is out16
        np.testing.assert_array_equal(out16[..., ::-1], want)
    stage = engine.debug()["agtm_result" if order in (1, 2, 4) else "cltm_result"]
    assert stage.shape == ((height, width, 3) if order <= 4 else (0, 0, 3))


def test_updates_reach_the_engine_and_keep_the_rest(rng):
    frame = frame12(rng, 40, 70)
    engine = alad.Engine(width=70, height=40, order=4, src_lux=300, dst_lux=300)
    engine.update_view(dst_lux=20000)
    np.testing.assert_array_equal(engine.registers()["agtm"], alad.agtm_table(300, 20000))
    # The panel keeps the effective black levels of its last viewing condition: a new reflectance
    # takes effect with the next update_view, a new gamma at once.
    engine.update_display(gamma=2.4, reflectance=0.02)
    np.testing.assert_array_equal(engine.registers()["agtm"], alad.agtm_table(300, 20000, gamma=2.4))
    engine.update_view()
    np.testing.assert_array_equal(engine.registers()["agtm"], alad.agtm_table(300, 20000, gamma=2.4, reflectance=0.02))
    assert engine.settings["gamma"] == 2.4 and engine.settings["white"] == 500.0
    engine.update_cltm(order=3, block=(64, 128), strength=16)
    regs = engine.registers()
    assert (regs["tm_mode"], regs["blk_width_b"], regs["blk_height_b"], regs["blk_w_num"]) == (3, 64, 128, 2)
    assert engine.settings["block"] == (64, 128) and engine.settings["width"] == 70
    engine.run(frame)
    np.testing.assert_array_equal(engine.run(frame), alad._checks.run_copied(frame))


def test_registers_round_trip_through_dicts_and_files(tmp_path, rng):
    engine = alad.Engine(width=200, height=100, order=1, src_lux=300, dst_lux=5000)
    regs = engine.registers()
    assert set(regs) == {"tm_mode", "width", "height", "blk_width_b", "blk_height_b", "blk_h_num", "blk_w_num",
                         "hist_mode", "curve_transition", "linear_adj_offset", "linear_adj_ratio", "strength_mode",
                         "strength_target", "strength_step", "strength_interval", "hist_adjust_curve", "agtm"}
    assert regs["hist_adjust_curve"].dtype == np.uint32 and regs["agtm"].dtype == np.int32
    # A dict changes what it names; the rest stays.
    table = rng.integers(0, 8000, 256)
    engine.load_registers({"strength_target": 77, "agtm": table})
    after = engine.registers()
    assert after["strength_target"] == 77 and after["width"] == 200
    np.testing.assert_array_equal(after["agtm"], table)
    # A file as the harness reads it: what it does not set is 0.
    alad.write_registers(tmp_path / "regs.txt", after)
    read = alad.read_registers(tmp_path / "regs.txt")
    for key, value in read.items():
        np.testing.assert_array_equal(value, after[key], err_msg=key)
    (tmp_path / "part.txt").write_text("tm_mode=4 width=64 height=32 blk_width_b=64 blk_height_b=64 strength_step=1\n")
    engine.load_registers(str(tmp_path / "part.txt"))
    part = engine.registers()
    assert (part["tm_mode"], part["width"], part["strength_target"], part["agtm"].any()) == (4, 64, 0, False)


def test_debug_is_what_the_dumps_write(tmp_path, rng):
    engine = alad.Engine(width=300, height=260, order=2, block=128, src_lux=300, dst_lux=20000)
    for _ in range(2):
        frame = frame12(rng, 260, 300)
        result = engine.run(frame)
    debug = engine.debug()
    assert debug["hist"].size == 128 * 3 * 3 and debug["trans_curve"].size == 64 * 3 * 3
    np.testing.assert_array_equal(debug["cltm_result"], result)
    np.testing.assert_array_equal(debug["agtm_result"], alad._checks.debug_image_copied("agtm_result"))
    engine.dump(tmp_path, result)
    dumps = alad.read_dumps(tmp_path, 300, 260)
    assert set(dumps) == set(alad.DEBUG_TYPES) | {"result"}
    for key, value in debug.items():
        np.testing.assert_array_equal(dumps[key], value, err_msg=key)
    np.testing.assert_array_equal(dumps["result"], result)
    # Copies: the next frame leaves them as they were.
    kept = debug["hist"].copy()
    engine.run(frame12(rng, 260, 300))
    np.testing.assert_array_equal(debug["hist"], kept)


def test_a_sequence_equals_the_verification_run_of_the_same_vector(tmp_path, rng, tool):
    width, height = 150, 90
    regs = dict(tm_mode=1, width=width, height=height, blk_width_b=64, blk_height_b=64, hist_mode=1,
                curve_transition=300, linear_adj_offset=-20, linear_adj_ratio=40, strength_mode=1,
                strength_target=120, strength_step=4, strength_interval=2,
                hist_adjust_curve=alad.Engine(width=width, height=height).registers()["hist_adjust_curve"],
                agtm=alad.agtm_table(300, 30000))
    alad.write_registers(tmp_path / "regs.txt", regs)
    frames = [frame12(rng, height, width) for _ in range(3)]
    names = []
    for i, frame in enumerate(frames):
        names.append(tmp_path / f"image{i}.txt")
        alad.write_pixels(names[-1], frame)
        np.testing.assert_array_equal(alad.read_pixels(names[-1], width, height), frame)
    tool("verify", tmp_path / "regs.txt", tmp_path / "run", *names)

    # The harness's reference configuration, then the register file before every frame.
    engine = alad.Engine(order=1, width=0, height=0, src_lux=6000, dst_lux=260000)
    for i, frame in enumerate(frames):
        engine.load_registers(tmp_path / "regs.txt")
        result = engine.run(frame)
        dumps = alad.read_dumps(tmp_path / "run" / f"frame-{i:03d}", width, height)
        np.testing.assert_array_equal(result, dumps.pop("result"), err_msg=f"frame {i}")
        for key, value in engine.debug().items():
            np.testing.assert_array_equal(value, dumps[key], err_msg=f"frame {i}: {key}")


def test_the_driver_path_keeps_alpha_and_rounds_the_engine_result(rng):
    engine = alad.Engine(width=33, height=21, order=1, src_lux=300, dst_lux=20000)
    buffers = [rng.integers(0, 256, (21, 33, 4), dtype=np.uint8) for _ in range(2)]
    engine.reset()
    expected = []
    for buffer in buffers:
        bgr8 = np.ascontiguousarray(buffer[..., :0:-1])
        wide = alad.widen8(bgr8)
        np.testing.assert_array_equal(wide, bgr8.astype(np.int32) * 16 + bgr8 // 16)
        expected.append(np.clip(np.rint(alad._checks.run_copied(wide) / 16.0), 0, 255).astype(np.uint8))
    engine.reset()
    for buffer, want in zip(buffers, expected):
        alpha = buffer[..., 0].copy()
        engine.run_argb(buffer)
        np.testing.assert_array_equal(buffer[..., 0], alpha)
        np.testing.assert_array_equal(buffer[..., :0:-1], want)


def test_one_engine_per_process(rng):
    first = alad.Engine(width=16, height=16)
    second = alad.Engine(width=16, height=16, order=4)
    with pytest.raises(alad.EngineError, match="replaced"):
        first.run(frame12(rng, 16, 16))
    assert "(replaced)" in repr(first) and "order=4" in repr(second)
    second.run(frame12(rng, 16, 16))


def test_lines_go_to_logging_and_refusals_raise_with_the_engines_message(caplog, rng):
    caplog.set_level(logging.INFO, logger="alad")
    engine = alad.Engine(width=64, height=64, order=3)
    engine.run(frame12(rng, 64, 64))
    assert any(r.name == "alad" and r.levelno == logging.INFO and "case order 3" in r.getMessage()
               for r in caplog.records)
    with pytest.raises(alad.EngineError) as refused:
        engine.run(frame12(rng, 128, 64))  # larger than the CLTM buffers
    assert "128" in str(refused.value) and str(refused.value).startswith("Engine.run: ")
    assert caplog.records[-1].levelno >= logging.WARNING
    engine.run(frame12(rng, 64, 64))  # still usable


@pytest.mark.parametrize(
    "call, error, match",
    [
        (lambda e, f: e.run(f.astype(np.float32)), ValueError, "int32 or uint16, not float32"),
        (lambda e, f: e.run(f.astype(">i4")), ValueError, "int32 or uint16"),
        (lambda e, f: e.run(f[..., :2].copy()), ValueError, r"shape \(H, W, 3\)"),
        (lambda e, f: e.run(f[0]), ValueError, "shape"),
        (lambda e, f: e.run(f[:, ::2]), ValueError, "C-contiguous"),
        (lambda e, f: e.run(f[:0]), ValueError, "no pixels"),
        (lambda e, f: e.run(f.tolist()), TypeError, "NumPy array"),
        (lambda e, f: e.run(f, out=np.empty((8, 8, 3), np.uint16)), ValueError, "out must be int32"),
        (lambda e, f: e.run(f, out=np.empty((8, 9, 3), np.int32)), ValueError, "frame's shape"),
        (lambda e, f: e.run(f, out=f), ValueError, "frame itself"),
        (lambda e, f: e.run_argb(np.zeros((8, 8, 4), np.uint8)[:, ::-1]), ValueError, "C-contiguous"),
        (lambda e, f: e.run_argb(np.zeros((8, 8, 3), np.uint8)), ValueError, "shape"),
        (lambda e, f: e.load_registers("/no/such/regs.txt"), FileNotFoundError, "regs.txt"),
        (lambda e, f: e.load_registers({"tm_mod": 1}), KeyError, "tm_mod"),
        (lambda e, f: e.load_registers({"agtm": np.zeros(255)}), ValueError, "256 integers"),
        (lambda e, f: e.load_registers({"width": 2**31}), ValueError, "32 bits"),
        (lambda e, f: e.update_cltm(block="64"), ValueError, "block"),
        (lambda e, f: alad.Engine(width=-1), ValueError, "width"),
        (lambda e, f: e.dump("/no/such/folder"), FileNotFoundError, "hist.txt"),
    ],
)
def test_wrong_arguments_raise_and_never_crash(rng, call, error, match):
    engine = alad.Engine(width=8, height=8)
    with pytest.raises(error, match=match):
        call(engine, frame12(rng, 8, 8))
    engine.run(frame12(rng, 8, 8))


def test_read_only_buffers_are_refused_and_read_only_frames_taken(rng):
    engine = alad.Engine(width=8, height=8)
    buffer = np.zeros((8, 8, 4), np.uint8)
    buffer.setflags(write=False)
    with pytest.raises(ValueError, match="writeable"):
        engine.run_argb(buffer)
    frame = frame12(rng, 8, 8)
    frame.setflags(write=False)
    engine.run(frame)
