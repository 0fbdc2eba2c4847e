# The two engines, built once by scripts/engines.sh into a cache outside the work tree. The Makefile
# passes their folders; the binaries find the libraries through their run path.
set(LBUG_DIR "" CACHE PATH "Folder holding LadybugDB's lib/liblbug.so and include/lbug.h")
set(LLAMA_DIR "" CACHE PATH "Folder holding llama.cpp's lib/libllama.so and include/llama.h")

# While the engines are still building, a developer may configure with CORVANTIS_ENGINES_OPTIONAL=ON
# to work on the parts that do not touch them; the folders that do are then left out of the build.
option(CORVANTIS_ENGINES_OPTIONAL "Build without the engines when they are not built yet (development only)" OFF)
set(CORVANTIS_HAVE_ENGINES ON)
foreach(dir LBUG_DIR LLAMA_DIR)
  if(NOT EXISTS "${${dir}}/.complete")
    if(CORVANTIS_ENGINES_OPTIONAL)
      set(CORVANTIS_HAVE_ENGINES OFF)
    else()
      message(FATAL_ERROR "${dir} (${${dir}}) holds no finished engine build; run `make` or scripts/engines.sh first.")
    endif()
  endif()
endforeach()
# The folders of our own code that need an engine.
set(CORVANTIS_ENGINE_FOLDERS ladybug store embedding)
if(NOT CORVANTIS_HAVE_ENGINES)
  message(WARNING "Engines not built yet: leaving out ${CORVANTIS_ENGINE_FOLDERS} and everything above the kit.")
  add_library(Engine::lbug INTERFACE IMPORTED GLOBAL)
  add_library(Engine::llama INTERFACE IMPORTED GLOBAL)
  set(CORVANTIS_GGUF_PY "" CACHE INTERNAL "")
  return()
endif()

add_library(Engine::lbug SHARED IMPORTED GLOBAL)
set_target_properties(Engine::lbug PROPERTIES
  IMPORTED_LOCATION "${LBUG_DIR}/lib/liblbug.so"
  INTERFACE_SYSTEM_INCLUDE_DIRECTORIES "${LBUG_DIR}/include"
  INTERFACE_INCLUDE_DIRECTORIES "${LBUG_DIR}/include")

add_library(Engine::ggml-base SHARED IMPORTED GLOBAL)
set_target_properties(Engine::ggml-base PROPERTIES IMPORTED_LOCATION "${LLAMA_DIR}/lib/libggml-base.so"
  # The cached libraries carry the run path of the folder they were built in, which is gone: every
  # program names all three itself, so that the loader finds them through the program's own run path.
  INTERFACE_LINK_OPTIONS "LINKER:--no-as-needed")
add_library(Engine::ggml SHARED IMPORTED GLOBAL)
set_target_properties(Engine::ggml PROPERTIES IMPORTED_LOCATION "${LLAMA_DIR}/lib/libggml.so"
  INTERFACE_LINK_LIBRARIES Engine::ggml-base)
add_library(Engine::llama SHARED IMPORTED GLOBAL)
set_target_properties(Engine::llama PROPERTIES
  IMPORTED_LOCATION "${LLAMA_DIR}/lib/libllama.so"
  INTERFACE_SYSTEM_INCLUDE_DIRECTORIES "${LLAMA_DIR}/include"
  INTERFACE_INCLUDE_DIRECTORIES "${LLAMA_DIR}/include"
  INTERFACE_LINK_LIBRARIES Engine::ggml)

# Every binary we build finds both engines without LD_LIBRARY_PATH.
set(CMAKE_BUILD_RPATH "${LBUG_DIR}/lib;${LLAMA_DIR}/lib")
set(CMAKE_INSTALL_RPATH "${LBUG_DIR}/lib;${LLAMA_DIR}/lib")
set(CORVANTIS_GGUF_PY "${LLAMA_DIR}/gguf-py" CACHE INTERNAL "")
