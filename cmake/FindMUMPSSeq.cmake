# Finds the sequential MUMPS libraries, single and double precision, which come without a package file of their own.
#
#   MUMPSSeq::MUMPSSeq    the imported target
#   MUMPSSeq_FOUND        whether headers and libraries were found
#
# The parallel libraries have the same headers and the same entry points: only the names with _seq may be linked.
find_path(MUMPSSeq_INCLUDE_DIR NAMES smumps_c.h PATH_SUFFIXES mumps_seq MUMPS)
find_library(MUMPSSeq_SINGLE_LIBRARY NAMES smumps_seq)
find_library(MUMPSSeq_DOUBLE_LIBRARY NAMES dmumps_seq)
mark_as_advanced(MUMPSSeq_INCLUDE_DIR MUMPSSeq_SINGLE_LIBRARY MUMPSSeq_DOUBLE_LIBRARY)

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(MUMPSSeq
  REQUIRED_VARS MUMPSSeq_SINGLE_LIBRARY MUMPSSeq_DOUBLE_LIBRARY MUMPSSeq_INCLUDE_DIR
  REASON_FAILURE_MESSAGE "on Debian and Ubuntu: apt-get install libmumps-seq-dev libopenblas0-pthread")

if(MUMPSSeq_FOUND AND NOT TARGET MUMPSSeq::MUMPSSeq)
  add_library(MUMPSSeq::MUMPSSeq INTERFACE IMPORTED)
  set_target_properties(MUMPSSeq::MUMPSSeq PROPERTIES
    INTERFACE_INCLUDE_DIRECTORIES "${MUMPSSeq_INCLUDE_DIR}"
    INTERFACE_LINK_LIBRARIES "${MUMPSSeq_SINGLE_LIBRARY};${MUMPSSeq_DOUBLE_LIBRARY}")
endif()
