# Runs the alad tool as a user would. Variables: ALAD (the tool), WORK (scratch folder), SAMPLE.
file(REMOVE_RECURSE "${WORK}")
file(MAKE_DIRECTORY "${WORK}")

# expect(<exit code> <regex for stdout+stderr> <args...>)
function(expect code pattern)
  execute_process(COMMAND "${ALAD}" ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT rc STREQUAL "${code}")
    message(FATAL_ERROR "alad ${ARGN}: exit ${rc}, expected ${code}\n${out}\n${err}")
  endif()
  if(NOT "${out}${err}" MATCHES "${pattern}")
    message(FATAL_ERROR "alad ${ARGN}: output does not match '${pattern}':\n${out}\n${err}")
  endif()
  set(last_out "${out}" PARENT_SCOPE)
endfunction()

expect(0 "usage: alad \\[-q \\| -v\\] <command>" --help)
expect(0 "usage: alad lut" lut --help)
expect(0 "usage: alad process" process --help)
expect(0 "usage: alad offline VARIANT" offline --help)
expect(2 "unknown command 'frobnicate'" frobnicate)

# lut: 256 integers, one per line; a plot on request.
expect(0 "" lut --src 300 --dst 20000 --plot "${WORK}/curve.png")
string(REGEX MATCHALL "-?[0-9]+\n" entries "${last_out}")
list(LENGTH entries count)
if(NOT count EQUAL 256)
  message(FATAL_ERROR "alad lut printed ${count} entries, expected 256")
endif()
if(NOT EXISTS "${WORK}/curve.png")
  message(FATAL_ERROR "alad lut --plot wrote no picture")
endif()
expect(2 "option --src needs a number, got 'abc'" lut --src abc --dst 1)
expect(2 "option --dst is required" lut --src 300)
expect(2 "unknown option --bogus" lut --src 1 --dst 2 --bogus 3)
expect(2 "--gamma > 0" lut --src 1 --dst 2 --gamma 0)

# process: a picture in, a picture (and a side-by-side) out.
expect(0 "-> ${WORK}/out.png" process --src 300 --dst 20000 "${SAMPLE}" "${WORK}/out.png"
       --side-by-side "${WORK}/sbs.png")
foreach(f out.png sbs.png)
  if(NOT EXISTS "${WORK}/${f}")
    message(FATAL_ERROR "alad process did not write ${f}")
  endif()
endforeach()
expect(1 "cannot read '${WORK}/missing.png': no such file" process --src 1 --dst 2 "${WORK}/missing.png" "${WORK}/x.png")
expect(1 "cannot write picture '${WORK}/out.unknown-format'" process --src 1 --dst 2 "${SAMPLE}" "${WORK}/out.unknown-format")
expect(2 "needs INPUT and OUTPUT" process --src 1 --dst 2 "${SAMPLE}")

# level / levels: the driver's ambient-light levels.
expect(0 "^21\n$" level 2380)
expect(0 "^22\n$" level 2381)
expect(2 "LUX must be a whole number" level bright)
expect(0 "40 tables written" levels --header "${WORK}/levels.h" --plot "${WORK}/levels.png")
file(READ "${WORK}/levels.h" header)
if(NOT header MATCHES "alad_agtm_level_tables\\[40\\]\\[256\\]")
  message(FATAL_ERROR "alad levels --header wrote no [40][256] table")
endif()

# Verification: a vector from the sample picture, three frames of it, and the dump comparison.
foreach(command vector verify diff regs)
  expect(0 "usage: alad ${command}" ${command} --help)
endforeach()
expect(0 "-> ${WORK}/vec/image.txt, ${WORK}/vec/regs.txt \\(order 1, 300 -> 20000 lux\\)"
       vector "${SAMPLE}" "${WORK}/vec" --src 300 --dst 20000)
set(image "${WORK}/vec/image.txt")
expect(0 "frame-002: .*alad verify: 3 frames of 600x400, order 1"
       verify "${WORK}/vec/regs.txt" "${WORK}/run" "${image}" "${image}" "${image}")
foreach(f hist foreward_curve backward_curve curve smooth_curve trans_curve agtm_result cltm_result result)
  if(NOT EXISTS "${WORK}/run/frame-002/${f}.txt")
    message(FATAL_ERROR "alad verify did not write frame-002/${f}.txt")
  endif()
endforeach()
expect(0 "alad diff: all 27 files identical" diff "${WORK}/run" "${WORK}/run")

file(COPY "${WORK}/run/" DESTINATION "${WORK}/changed")
file(STRINGS "${WORK}/changed/frame-001/hist.txt" lines)
list(GET lines 2 old)
list(REMOVE_AT lines 2)
list(INSERT lines 2 "0000abcd")
list(JOIN lines "\n" text)
file(WRITE "${WORK}/changed/frame-001/hist.txt" "${text}\n")
expect(1 "frame-001/hist.txt: 1 of [0-9]+ lines differ; first at line 3: ${old} \\| 0000abcd; largest difference [0-9]+\nalad diff: 26 identical, 1 different, 0 in one folder only"
       diff "${WORK}/run" "${WORK}/changed")

# diff spells out counts, channel differences and files in one folder only; two files compare directly.
file(WRITE "${WORK}/da/f/hist.txt" "00000001\n00000fff\n")
file(WRITE "${WORK}/db/f/hist.txt" "00000001\r\n00000FFF  \n")  # the same values, spelt otherwise
file(WRITE "${WORK}/da/f/result.txt" "123456789\n000000000\nfff000fff\n")
file(WRITE "${WORK}/db/f/result.txt" "123456788\n000000000\n000000fff\n")
file(WRITE "${WORK}/da/f/curve.txt" "00000010\n00000020\n00000030\n")
file(WRITE "${WORK}/db/f/curve.txt" "00000010\n00000025\n")
file(WRITE "${WORK}/da/only_a.txt" "x\n")
file(WRITE "${WORK}/db/f/only_b.txt" "y\n")
expect(1 "^f/curve.txt: 2 of 3 lines differ \\(3 lines against 2\\); first at line 2: 00000020 \\| 00000025; largest difference 5
f/result.txt: 2 of 3 lines differ; first at line 1: 123456789 \\| 123456788; largest difference R 4095, G 0, B 1
only in ${WORK}/da: only_a.txt
only in ${WORK}/db: f/only_b.txt
alad diff: 1 identical, 2 different, 2 in one folder only\n$" diff "${WORK}/da" "${WORK}/db")
expect(0 "" diff "${WORK}/da/f/hist.txt" "${WORK}/db/f/hist.txt")
expect(1 "^hist.txt: 3 of 3 lines differ \\(2 lines against 3\\)" diff "${WORK}/da/f/hist.txt" "${WORK}/da/f/curve.txt")
expect(2 "needs DIR_A and DIR_B" diff "${WORK}/da")
expect(2 "'${WORK}/missing' does not exist" diff "${WORK}/da" "${WORK}/missing")
expect(2 "must be two folders or two files" diff "${WORK}/da" "${WORK}/da/f/hist.txt")

expect(1 "frame-001: .*FAILED.*open failed: ${WORK}/missing.txt.*1 of 2 frames failed"
       verify "${WORK}/vec/regs.txt" "${WORK}/run2" "${image}" "${WORK}/missing.txt")
file(WRITE "${WORK}/bad_regs.txt" "width=600 height=400 agtm_entry=5\n")
expect(1 "register file '${WORK}/bad_regs.txt': token 'agtm_entry=5'" verify "${WORK}/bad_regs.txt" "${WORK}/run3" "${image}")
file(WRITE "${WORK}/no_size.txt" "tm_mode=1\n")
expect(1 "'${WORK}/no_size.txt' sets the frame size 0x0" verify "${WORK}/no_size.txt" "${WORK}/run4" "${image}")
expect(2 "needs REGFILE, OUTDIR and at least one IMAGE" verify "${WORK}/vec/regs.txt" "${WORK}/run4")

# regs: the registers, the block counts, both tables, then the driver's range check.
file(WRITE "${WORK}/regs.txt" "tm_mode=2 width=600 height=400 blk_width_b=100 blk_height_b=256 strength_step=5 hist_adj_curv_12=777 agtm_entry017=2048\n")
expect(0 "  tm_mode            2\n  width              600\n.*  strength_interval  0
  blk_h_num          2  \\(height in blocks of 256\\)
  blk_w_num          5  \\(width in blocks of 128\\)
hist .*\n  00: 0 0 0 0 0 0 0 0 0 0 0 0 777\n.*\n  016: 0 2048 0 0 0 0 0 0 0 0 0 0 0 0 0 0\n" regs "${WORK}/regs.txt")
file(WRITE "${WORK}/odd_regs.txt" "tm_mode=7 width=64 height=64 blk_width_b=64 blk_height_b=64 strength_step=1\n")
expect(0 "driver range check.*\nerror reg_tm_mode out of range \\[1~6\\] !\n$" regs "${WORK}/odd_regs.txt")
file(WRITE "${WORK}/bad_table.txt" "width=5 agtm_entryabc=1\n")
expect(1 "^alad regs: register file '${WORK}/bad_table.txt': token 'agtm_entryabc=1': AGTM table index 'abc' is not a number\n$"
       regs "${WORK}/bad_table.txt")
expect(1 "alad regs: cannot read register file '${WORK}/missing.txt'" regs "${WORK}/missing.txt")
expect(2 "needs one REGFILE" regs)

# Habits: the version, -q and -v anywhere, --opt=value, "--", JSON, and an option that changes nothing.
expect(0 "^alad [0-9]+\\.[0-9]+\\.[0-9]+\n$" --version)
expect(0 "^alad [0-9]" lut --version)
expect(0 "^21\n$" -q level 2380)
expect(0 "^{\n  \"lux\": 2380,\n  \"level\": 21,\n  \"level_lux\": 2240\n}\n$" level --json 2380)
expect(0 "^$" process -q --order=4 "${SAMPLE}" "${WORK}/quiet.png")
expect(0 "^$" process --order=4 -q -- "${SAMPLE}" "${WORK}/quiet.png")
expect(0 "\"engine_ms_per_frame\": [0-9.]+,\n  \"engine_fps\": [0-9.]+" process --json --order 3 "${SAMPLE}" "${WORK}/q.png")
expect(0 "alad: warning: --backlight is stored by the panel model, but no result depends on it"
       lut --src 1 --dst 2 --backlight 0.5)
expect(0 "no result depends on it" lut --help)
expect(0 "\"table\": \\[[0-9]+, " lut --src 300 --dst 5000 --json)
expect(0 "\"levels\": \\[\n    {\n      \"level\": 0,\n      \"lux\": 300," levels --json)
expect(0 "order 1 \\(CLTM \\+ AGTM\\), 300 -> 20000 lux\nalad process: engine [0-9.]+ ms per frame, [0-9.]+ frames per second"
       process --dst 20000 "${SAMPLE}" "${WORK}/timed.png")

# bench: the table of figures for a frame size.
expect(0 "alad bench: 96x64, order 3 \\(CLTM\\), ARGB8888 driver buffer, 1 thread, 4 frames timed
  ms per frame +[0-9.]+ +\\(median; fastest [0-9.]+, slowest [0-9.]+\\)
  frames per second +[0-9.]+
  display +frame time +engine's share
   60 Hz +16.67 ms +[0-9]+ %
   90 Hz +11.11 ms +[0-9]+ %
  120 Hz +8.33 ms +[0-9]+ %
$" bench --size 96x64 --order 3 --argb --frames 4)
expect(0 "\"fps\": " bench --size=64x64 --threads 2 --frames 2 --json)
expect(2 "option --size needs WIDTHxHEIGHT" bench --size 64)
