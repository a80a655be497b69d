# The names libalad.so exports, read off the public headers: every declaration marked ALAD_EXPORT
# there (functions, variables, classes). alad_public_names() gives the list; alad_write_export_map()
# writes the linker version script that exports those names and nothing else (the library is built
# with hidden visibility, but the C++ standard library's templates it instantiates keep their
# headers' default visibility and would leak otherwise).

function(alad_public_names headers out_var)
  set(names "")
  foreach(header IN LISTS headers)
    file(STRINGS "${header}" lines REGEX "ALAD_EXPORT")
    foreach(line IN LISTS lines)
      if(line MATCHES "^(#|[ ]*//|[ ]*/?\\*)")  # preprocessor lines and comments
        continue()
      elseif(line MATCHES "class ALAD_EXPORT ([A-Za-z_][A-Za-z0-9_]*)")
        list(APPEND names "${CMAKE_MATCH_1}")
      elseif(line MATCHES "([A-Za-z_][A-Za-z0-9_]*)(\\[[^]]*\\])?[ ]*[(;[]")
        list(APPEND names "${CMAKE_MATCH_1}")
      endif()
    endforeach()
  endforeach()
  list(REMOVE_DUPLICATES names)
  list(SORT names)
  set(${out_var} "${names}" PARENT_SCOPE)
endfunction()

function(alad_write_export_map headers map_file)
  alad_public_names("${headers}" names)
  set(cxx "")
  set(c "")
  foreach(name IN LISTS names)
    # ld's version scripts match demangled C++ names with shell globs ('?' stands for the '(' that
    # a pattern may not contain); plain C names and variables go outside the C++ block.
    foreach(scope "" "kelvo::")
      string(APPEND cxx "      ${scope}${name}?*;\n      ${scope}${name}::*;\n"
                        "      typeinfo?for?${scope}${name};\n      typeinfo?name?for?${scope}${name};\n"
                        "      vtable?for?${scope}${name};\n")
    endforeach()
    string(APPEND c "    ${name};\n")
  endforeach()
  file(WRITE "${map_file}.new" "{\n  global:\n    extern \"C++\" {\n${cxx}    };\n${c}  local:\n    *;\n};\n")
  file(COPY_FILE "${map_file}.new" "${map_file}" ONLY_IF_DIFFERENT)
  file(REMOVE "${map_file}.new")
endfunction()
