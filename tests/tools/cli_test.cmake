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
expect(1 "^file sets differ: 1 file only in ${WORK}/da, 1 only in ${WORK}/db
only in ${WORK}/da: only_a.txt
only in ${WORK}/db: f/only_b.txt
f/curve.txt: 2 of 3 lines differ \\(3 lines against 2\\); first at line 2: 00000020 \\| 00000025; largest difference 5
f/result.txt: 2 of 3 lines differ; first at line 1: 123456789 \\| 123456788; largest difference R 4095, G 0, B 1
alad diff: 1 identical, 2 different, 2 in one folder only\n$" diff "${WORK}/da" "${WORK}/db")
expect(0 "" diff "${WORK}/da/f/hist.txt" "${WORK}/db/f/hist.txt")
expect(1 "^hist.txt: 3 of 3 lines differ \\(2 lines against 3\\)" diff "${WORK}/da/f/hist.txt" "${WORK}/da/f/curve.txt")
expect(2 "needs DIR_A and DIR_B" diff "${WORK}/da")
expect(2 "'${WORK}/missing' does not exist" diff "${WORK}/da" "${WORK}/missing")
expect(2 "must be two folders or two files" diff "${WORK}/da" "${WORK}/da/f/hist.txt")

# A small vector cut from the big one (8x4 pixels), for the runs below.
file(READ "${WORK}/vec/regs.txt" regs_text)
string(REGEX REPLACE "width=[0-9]+" "width=8" regs_text "${regs_text}")
string(REGEX REPLACE "height=[0-9]+" "height=4" regs_text "${regs_text}")
set(small_regs "${WORK}/small_regs.txt")
file(WRITE "${small_regs}" "${regs_text}")
file(STRINGS "${image}" pixels LIMIT_COUNT 32)
list(JOIN pixels "\n" pixels)
set(small "${WORK}/small.txt")
file(WRITE "${small}" "${pixels}\n")

expect(1 "frame-001: .*FAILED.*open failed: ${WORK}/missing.txt.*1 of 2 frames failed"
       verify "${small_regs}" "${WORK}/run2" "${small}" "${WORK}/missing.txt")
# A failed frame keeps no dumps, only the reason; run.json records the run.
file(GLOB failed_files RELATIVE "${WORK}/run2/frame-001" "${WORK}/run2/frame-001/*")
file(READ "${WORK}/run2/frame-001/FAILED" reason)
if(NOT failed_files STREQUAL "FAILED" OR NOT reason MATCHES "open failed: ${WORK}/missing.txt")
  message(FATAL_ERROR "frame-001 of a missing vector holds '${failed_files}': ${reason}")
endif()
file(READ "${WORK}/run2/run.json" record)
file(SHA256 "${small}" image_sha)
foreach(check "status|failed" "frames 0 status|ok" "frames 1 status|failed" "frames 0 pixel_file sha256|${image_sha}"
              "frames 1 pixel_file sha256|" "frame_size width|8" "order|1" "frames 0 files 6|frame-000/result.txt")
  string(REPLACE "|" ";" check "${check}")
  list(GET check 0 where)
  list(LENGTH check n)
  set(want "")
  if(n GREATER 1)
    list(GET check 1 want)
  endif()
  string(REPLACE " " ";" where "${where}")
  string(JSON got ERROR_VARIABLE json_error GET "${record}" ${where})
  if(want STREQUAL "" AND got STREQUAL "null")
    set(got "")
  endif()
  if(NOT got STREQUAL want)
    message(FATAL_ERROR "run.json: ${where} is '${got}' (${json_error}), expected '${want}'\n${record}")
  endif()
endforeach()

# An output folder with an earlier run is refused, or emptied with --force; diff then tells the
# frame counts and the file sets apart before anything else.
expect(1 "output folder '${WORK}/run2' is not empty \\(an earlier run\\?\\); --force empties it first"
       verify "${small_regs}" "${WORK}/run2" "${small}")
expect(0 "1 frame of 8x4" verify --force "${small_regs}" "${WORK}/run2" "${small}")
if(EXISTS "${WORK}/run2/frame-001")
  message(FATAL_ERROR "verify --force left the earlier run's frame-001")
endif()
expect(0 "" verify "${small_regs}" "${WORK}/run_three" "${small}" "${small}" "${small}")
expect(1 "^frame counts differ: 3 in ${WORK}/run_three, 1 in ${WORK}/run2
file sets differ: 18 files only in ${WORK}/run_three, 0 only in ${WORK}/run2
only in ${WORK}/run_three: frame-001/ \\(9 files\\)
only in ${WORK}/run_three: frame-002/ \\(9 files\\)
alad diff: 9 identical, 0 different, 18 in one folder only\n$" diff "${WORK}/run_three" "${WORK}/run2")
expect(1 "\"frames\": {\n    \"a\": 3,\n    \"b\": 1\n  }" diff --json "${WORK}/run_three" "${WORK}/run2")
file(WRITE "${WORK}/notarun/notes.txt" "mine\n")
expect(1 "holds 'notes.txt', which no run writes; not emptied" verify --force "${small_regs}" "${WORK}/notarun" "${small}")
# --strict refuses a register file with errors before anything is written; without it they are warnings.
file(READ "${small_regs}" regs_text)
string(REPLACE "strength_step=" "strenght_step=" regs_text "${regs_text}")
file(WRITE "${WORK}/misspelt.txt" "${regs_text}")
expect(1 "misspelt.txt:12:1: error: unknown key 'strenght_step' \\(did you mean 'strength_step'\\?\\).*2 errors in the input files; nothing run \\(--strict\\)"
       verify --strict "${WORK}/misspelt.txt" "${WORK}/strict" "${small}")
if(EXISTS "${WORK}/strict")
  message(FATAL_ERROR "verify --strict wrote into its output folder")
endif()
expect(0 "1 frame of 8x4.*misspelt.txt:12:1: warning: unknown key 'strenght_step'"
       verify "${WORK}/misspelt.txt" "${WORK}/lenient" "${small}")
expect(1 "misspelt.txt:12:1: error: unknown key 'strenght_step'.*alad check: 1 file, 2 errors, 0 warnings" check "${WORK}/misspelt.txt")
file(WRITE "${WORK}/bad_regs.txt" "width=600 height=400 agtm_entry=5\n")
expect(1 "register file '${WORK}/bad_regs.txt': token 'agtm_entry=5'" verify "${WORK}/bad_regs.txt" "${WORK}/run3" "${image}")
file(WRITE "${WORK}/no_size.txt" "tm_mode=1\n")
expect(1 "'${WORK}/no_size.txt' sets the frame size 0x0" verify "${WORK}/no_size.txt" "${WORK}/run4" "${image}")
expect(2 "needs REGFILE, OUTDIR and at least one IMAGE" verify "${WORK}/vec/regs.txt" "${WORK}/run4")

# regs: the registers, the block counts, both tables, then the driver's range check.
file(WRITE "${WORK}/regs.txt" "tm_mode=2 width=600 height=400 blk_width_b=100 blk_height_b=256 strength_step=5 hist_adj_curv_12=777 agtm_entry017=2048\n")
expect(1 "  tm_mode            2\n  width              600\n.*  strength_interval  0
  blk_h_num          2  \\(height in blocks of 256\\)
  blk_w_num          5  \\(width in blocks of 128\\)
hist .*\n  00: 0 0 0 0 0 0 0 0 0 0 0 0 777\n.*\n  016: 0 2048 0 0 0 0 0 0 0 0 0 0 0 0 0 0\n" regs "${WORK}/regs.txt")
file(WRITE "${WORK}/odd_regs.txt" "tm_mode=7 width=64 height=64 blk_width_b=64 blk_height_b=64 strength_step=1\n")
expect(1 "driver range check[^\n]*\nerror reg_tm_mode out of range \\[1~6\\] !\n.*odd_regs.txt:1:9: warning: tm_mode=7 is outside 1..6.*the driver's range check refuses 1 register\n$"
       regs "${WORK}/odd_regs.txt")
expect(0 "\"tm_mode\": 1,\n    \"width\": 600," regs --json "${WORK}/vec/regs.txt")
file(WRITE "${WORK}/bad_table.txt" "width=5 agtm_entryabc=1\n")
expect(1 "alad regs: register file '${WORK}/bad_table.txt': token 'agtm_entryabc=1': AGTM table index 'abc' is not a number\n$"
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
