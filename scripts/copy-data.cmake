# Copies data/ next to the executables (cmake -DSRC=data -DDST=bin -P copy-data.cmake).
#
# The catalogues Telescopes.dat and Sources.dat in DST are the user's once they have changed
# them: a catalogue is copied only when DST has none, or when DST's copy is still exactly the one
# shipped by an earlier build (its SHA-256 is kept in DST/.shipped-NAME.sha256). A changed
# catalogue is left alone and said so; delete it to get the shipped one back.

cmake_minimum_required(VERSION 3.21)

if(NOT SRC OR NOT DST)
  message(FATAL_ERROR "copy-data.cmake needs -DSRC=... -DDST=...")
endif()

set(catalogues Telescopes.dat Sources.dat)

file(GLOB_RECURSE shipped RELATIVE "${SRC}" "${SRC}/*")
foreach(rel IN LISTS shipped)
  if(rel IN_LIST catalogues)
    continue()
  endif()
  get_filename_component(dir "${DST}/${rel}" DIRECTORY)
  file(MAKE_DIRECTORY "${dir}")
  file(COPY_FILE "${SRC}/${rel}" "${DST}/${rel}" ONLY_IF_DIFFERENT)
endforeach()

foreach(name IN LISTS catalogues)
  set(from "${SRC}/${name}")
  set(to "${DST}/${name}")
  set(stamp "${DST}/.shipped-${name}.sha256")
  if(NOT EXISTS "${from}")
    continue()
  endif()
  file(SHA256 "${from}" new_hash)
  set(copy OFF)
  if(NOT EXISTS "${to}")
    set(copy ON)
  else()
    file(SHA256 "${to}" have_hash)
    set(old_hash "")
    if(EXISTS "${stamp}")
      file(READ "${stamp}" old_hash)
      string(STRIP "${old_hash}" old_hash)
    endif()
    if(have_hash STREQUAL new_hash)
      file(WRITE "${stamp}" "${new_hash}\n")
    elseif(have_hash STREQUAL old_hash)
      set(copy ON)
    else()
      message(STATUS "Keeping ${to}: it differs from the shipped catalogue (delete it to get ${from} again)")
    endif()
  endif()
  if(copy)
    file(COPY_FILE "${from}" "${to}")
    file(WRITE "${stamp}" "${new_hash}\n")
  endif()
endforeach()
