"""The module's functions: AGTM tables and levels, the offline paths (against the tool and
against the engine), ContentLTM, the content curve and the harness's files."""
import numpy as np
import pytest

import alad
from conftest import frame12, read_ppm, write_ppm


def test_tables_and_levels_are_the_engines():
    for src, dst in [(300, 20000), (6000, 260000), (1000, 1000)]:
        table = alad.agtm_table(src, dst)
        assert table.dtype == np.int32 and table.shape == (256,)
        np.testing.assert_array_equal(table, alad.Engine(src_lux=src, dst_lux=dst).registers()["agtm"])
    curve = alad.tone_curve(300, 20000)
    assert curve.dtype == np.float64 and curve.shape == (256,) and np.all(np.diff(curve) >= 0)
    assert len(alad.LUX_LEVELS) == 40 and alad.LUX_LEVELS[0] == 300 and alad.LUX_LEVELS[-1] == 49000
    assert [alad.level(lux) for lux in (300, 320, 321, 2380, 2381, 100000)] == [0, 0, 1, 21, 22, 39]
    np.testing.assert_array_equal(alad.level_table(35), alad.agtm_table(300, alad.LUX_LEVELS[35]))
    np.testing.assert_array_equal(alad.level_table(-3), alad.level_table(0))
    np.testing.assert_array_equal(alad.level_table(45), alad.level_table(39))


@pytest.mark.parametrize("method", ["gray", "1d", "combine", "scaler"])
def test_global_family_equals_the_tools_offline_variants(tmp_path, rng, tool, method):
    picture = rng.integers(0, 256, (45, 61, 3), dtype=np.uint8)
    picture[:4] = 0  # black pixels take their own way in some variants
    write_ppm(tmp_path / "in.ppm", picture)
    tool("offline", method, "--level", 35, tmp_path / "in.ppm", tmp_path / "out.ppm")
    ours = alad.global_tone_map(picture, alad.tone_curve(300, alad.LUX_LEVELS[35]), method=method)
    assert ours.dtype == np.uint8 and ours.shape == picture.shape
    np.testing.assert_array_equal(ours, read_ppm(tmp_path / "out.ppm"))


def test_combined_paths_agree_with_the_engine_and_with_contentltm(rng):
    frame = frame12(rng, 70, 90)
    table = alad.agtm_table(300, 20000)
    # The AGTM stage alone is the engine's order 4.
    reference, result = alad.combined(frame, table, method="ltm-agtm")
    np.testing.assert_array_equal(result, alad.Engine(width=90, height=70, order=4, src_lux=300,
                                                      dst_lux=20000).run(frame))
    # AGTM then LTM: the same reference, and the LTM of the input itself.
    reference2, result2 = alad.combined(frame.astype(np.uint16), table, method="agtm-ltm")
    np.testing.assert_array_equal(reference2, reference)
    np.testing.assert_array_equal(result2, alad.ContentLTM().bgr(frame))
    # The merged gain with a table of gains 1.0 is the LTM gain alone.
    gain, luma = alad.ContentLTM().gray(frame.max(axis=2).astype(np.float64))
    assert gain.dtype == luma.dtype == np.float32 and gain.shape == (70, 90)
    _, merged = alad.combined(frame, np.full(256, 2048), method="deep")
    ltm_gain = (np.trunc(gain * np.float32(1024)).astype(np.int64) // 2)[..., np.newaxis]
    expected = np.minimum(ltm_gain * frame // 512, 4095)
    np.testing.assert_array_equal(merged, expected)


def test_contentltm_settings_and_video(rng):
    frame = frame12(rng, 64, 64)
    assert repr(alad.ContentLTM()) == "alad.ContentLTM()"
    strong = alad.ContentLTM(block=64, strength=16, filter=True)
    assert "block=(64, 64)" in repr(strong) and "strength=16" in repr(strong)
    assert not np.array_equal(strong.bgr(frame), alad.ContentLTM().bgr(frame))
    video = alad.ContentLTM(video=True)
    # The first frame of a sequence passes through the 10-bit stage unchanged.
    np.testing.assert_array_equal(video.bgr(frame, 0), (frame >> 2) * 4 + (frame >> 10))


def test_content_curve():
    ramp = np.tile(np.arange(256, dtype=np.uint8), (4, 1))
    alad.clear_content_curve()
    curve, gain = alad.content_curve(ramp, content_weight=0.0, temporal_weight=1.0)
    np.testing.assert_allclose(curve, np.arange(256) * 0.00392156862745098, rtol=0, atol=1e-15)
    np.testing.assert_allclose(gain, 1.0, atol=1e-12)
    flat, _ = alad.content_curve(np.full((3, 5), 77, np.uint8), temporal_weight=0.5)  # one code: identity, scaled
    np.testing.assert_allclose(flat, np.arange(256) / 255 * 0.5, atol=1e-12)


def test_harness_files_round_trip_and_report_their_problems(tmp_path, rng):
    frame = frame12(rng, 5, 7)
    alad.write_pixels(tmp_path / "packed.txt", frame.astype(np.uint16))
    assert (tmp_path / "packed.txt").read_text().splitlines()[0] == "%03x%03x%03x" % tuple(frame[0, 0, ::-1])
    np.testing.assert_array_equal(alad.read_pixels(tmp_path / "packed.txt", 7, 5), frame)
    (tmp_path / "plain.txt").write_text("fff 0 1\n10 20 30\n")
    np.testing.assert_array_equal(alad.read_pixels(tmp_path / "plain.txt", 2, 1, packed=False),
                                  [[[1, 0, 0xFFF], [0x30, 0x20, 0x10]]])
    (tmp_path / "dump.txt").write_text("00000fff\nffffffff\n")
    np.testing.assert_array_equal(alad.read_dump(tmp_path / "dump.txt"), np.array([4095, 2**32 - 1], np.uint32))
    # A 4x4 YUV 4:2:0 frame: Y 64 and 940 with neutral chroma are (0 + 512) >> 8 and
    # (261048 + 512) >> 8.
    samples = np.array([64] * 8 + [940] * 8 + [512] * 32, "<u2")
    (tmp_path / "frame.yuv").write_bytes(samples.tobytes())
    yuv = alad.read_yuv10(tmp_path / "frame.yuv", 4, 4)
    np.testing.assert_array_equal(yuv[:2], 2)
    np.testing.assert_array_equal(yuv[2:], 1021)
    np.testing.assert_array_equal(alad.widen10(yuv), yuv * 4 + yuv // 256)

    for call, error, match in [
        (lambda: alad.read_pixels(tmp_path / "packed.txt", 8, 5), ValueError, "40"),
        (lambda: alad.read_pixels(tmp_path / "missing.txt", 7, 5), FileNotFoundError, "missing.txt"),
        (lambda: alad.read_pixels(tmp_path, 7, 5), IsADirectoryError, ""),
        (lambda: alad.read_pixels(tmp_path / "packed.txt", 0, 5), ValueError, "at least 1"),
        (lambda: alad.read_registers(tmp_path / "missing.txt"), FileNotFoundError, ""),
        (lambda: alad.read_dump(tmp_path / "packed.txt"), ValueError, "line 1"),
        (lambda: alad.read_dumps(tmp_path, 7, 5), FileNotFoundError, "hist.txt"),
        (lambda: alad.read_yuv10(tmp_path / "frame.yuv", 8, 8), ValueError, "8x8"),
        (lambda: alad.write_pixels(tmp_path / "no" / "such.txt", frame), FileNotFoundError, ""),
        (lambda: alad.global_tone_map(frame, alad.tone_curve(300, 300)), ValueError, "uint8"),
        (lambda: alad.global_tone_map(frame.astype(np.uint8), np.ones(255)), ValueError, "256 numbers"),
        (lambda: alad.global_tone_map(frame.astype(np.uint8), np.ones(256), method="x"), ValueError, "method"),
        (lambda: alad.combined(frame, np.ones(256), method="x"), ValueError, "method"),
        (lambda: alad.combined(frame, np.ones(256) * 0.5), ValueError, "256 integers"),
        (lambda: alad.content_curve(frame.astype(np.uint8)), ValueError, r"\(H, W\)"),
        (lambda: alad.ContentLTM().gray(frame[..., 0]), ValueError, "float64"),
    ]:
        with pytest.raises(error, match=match):
            call()
    (tmp_path / "bad.txt").write_text("tm_mode=1 agtm_entryabc=5\n")
    with pytest.raises(ValueError, match="bad.txt"):
        alad.read_registers(tmp_path / "bad.txt")
