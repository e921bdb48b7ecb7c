# The build tree mirrors the installed tree under ${VQKUDM_STAGE_DIR}, so the
# runtime finds its plug-ins, drivers and shared data the same way in both:
# relative to the directory that holds the core library.
set(VQKUDM_STAGE_DIR "${CMAKE_BINARY_DIR}/stage")
set(VQKUDM_PLUGIN_SUBDIR "vqkudm/plugins")
set(VQKUDM_DRIVER_SUBDIR "vqkudm/drivers")
set(VQKUDM_DATA_SUBDIR "vqkudm")

set(VQKUDM_STAGE_BINDIR "${VQKUDM_STAGE_DIR}/${CMAKE_INSTALL_BINDIR}")
set(VQKUDM_STAGE_LIBDIR "${VQKUDM_STAGE_DIR}/${CMAKE_INSTALL_LIBDIR}")
set(VQKUDM_STAGE_DATADIR "${VQKUDM_STAGE_DIR}/${CMAKE_INSTALL_DATADIR}/${VQKUDM_DATA_SUBDIR}")

# Paths baked into the core, relative to the core library's own directory.
file(RELATIVE_PATH VQKUDM_REL_DATADIR
  "/prefix/${CMAKE_INSTALL_LIBDIR}" "/prefix/${CMAKE_INSTALL_DATADIR}/${VQKUDM_DATA_SUBDIR}")
set(VQKUDM_REL_PLUGINDIR "${VQKUDM_PLUGIN_SUBDIR}")
set(VQKUDM_REL_DRIVERDIR "${VQKUDM_DRIVER_SUBDIR}")

set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${VQKUDM_STAGE_BINDIR}")
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY "${VQKUDM_STAGE_LIBDIR}")
set(CMAKE_ARCHIVE_OUTPUT_DIRECTORY "${VQKUDM_STAGE_LIBDIR}")
file(RELATIVE_PATH VQKUDM_REL_HOMEDIR "/prefix/${CMAKE_INSTALL_LIBDIR}" "/prefix")

# The platform sub-directory of plug-ins that several platforms may share
# (the connect profile), named as osaLibrary::GetPlatform() names it.
if(WIN32)
  if(CMAKE_SIZEOF_VOID_P EQUAL 8)
    set(VQKUDM_PLATFORM win64)
  else()
    set(VQKUDM_PLATFORM win32)
  endif()
elseif(CMAKE_SYSTEM_PROCESSOR MATCHES "^(aarch64|arm64)$")
  set(VQKUDM_PLATFORM linuxarm64)
elseif(CMAKE_SIZEOF_VOID_P EQUAL 8)
  set(VQKUDM_PLATFORM linux64)
else()
  set(VQKUDM_PLATFORM linux32)
endif()
