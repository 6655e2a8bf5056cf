# bench_closest_point and its optional CGAL and Embree engines (included from bench/CMakeLists.txt).

# Closest-point and box queries of KTriMeshDistTree, side by side with CGAL's AABB tree and
# Embree's point queries when those are installed (each is optional and skipped cleanly).
add_executable(bench_closest_point bench_closest_point.cpp)
target_include_directories(bench_closest_point PRIVATE ${PROJECT_SOURCE_DIR}/tests)
target_compile_definitions(bench_closest_point PRIVATE KELNO_TEST_DATA_DIR="${KELNO_TEST_DATA_DIR}")
target_link_libraries(bench_closest_point PRIVATE KelnoBase benchmark::benchmark OpenMP::OpenMP_CXX)
kelno_configure_tool(bench_closest_point)

find_package(CGAL QUIET)
if(CGAL_FOUND)
  # CGAL compiles slowly: its engine is a translation unit of its own.
  add_library(bench_engine_cgal STATIC engine_cgal.cpp)
  target_link_libraries(bench_engine_cgal PRIVATE KelnoBase CGAL::CGAL OpenMP::OpenMP_CXX)
  kelno_configure_tool(bench_engine_cgal)
  target_link_libraries(bench_closest_point PRIVATE bench_engine_cgal)
  target_compile_definitions(bench_closest_point PRIVATE KELNO_BENCH_WITH_CGAL=1)
else()
  message(STATUS "CGAL not found: bench_closest_point runs without the CGAL comparison")
endif()

find_package(embree 3 QUIET)
if(embree_FOUND)
  add_library(bench_engine_embree STATIC engine_embree.cpp)
  target_link_libraries(bench_engine_embree PRIVATE KelnoBase embree OpenMP::OpenMP_CXX)
  kelno_configure_tool(bench_engine_embree)
  target_link_libraries(bench_closest_point PRIVATE bench_engine_embree)
  target_compile_definitions(bench_closest_point PRIVATE KELNO_BENCH_WITH_EMBREE=1)
else()
  message(STATUS "Embree 3 not found: bench_closest_point runs without the Embree comparison")
endif()
