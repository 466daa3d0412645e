find_package(Python3 REQUIRED COMPONENTS Interpreter)

# embed_files(TARGET name=FILE...): puts each file's bytes into TARGET as `extern const std::string_view name` of namespace
# factory::assets. The file is read when the target is built, so that a change or an update of its package is picked up.
function(embed_files target)
  foreach(pair ${ARGN})
    string(REGEX MATCH "^([^=]+)=(.+)$" pair ${pair})
    set(name ${CMAKE_MATCH_1})
    get_filename_component(file ${CMAKE_MATCH_2} ABSOLUTE)
    set(source ${CMAKE_CURRENT_BINARY_DIR}/embedded_${name}.cpp)
    add_custom_command(
      OUTPUT ${source}
      COMMAND Python3::Interpreter ${EMBED_FILES_SCRIPT} ${name} ${file} ${source}
      DEPENDS ${file} ${EMBED_FILES_SCRIPT}
      COMMENT "Embedding ${name}"
      VERBATIM)
    # A literal longer than compilers need support is fine with those that build this.
    set_source_files_properties(${source} PROPERTIES COMPILE_OPTIONS -Wno-overlength-strings)
    target_sources(${target} PRIVATE ${source})
  endforeach()
endfunction()
set(EMBED_FILES_SCRIPT ${CMAKE_CURRENT_LIST_DIR}/embed_file.py)
