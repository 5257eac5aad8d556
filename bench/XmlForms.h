// The library's XML form of a workload, built once per workload and shared by the benchmarks
// that read it.
#ifndef ORVANDEL_BENCH_XMLFORMS_H
#define ORVANDEL_BENCH_XMLFORMS_H

#include <vector>

#include "Workload.h"

namespace orvandel_bench {

const std::vector<unsigned char>& xmlForm(const Workload& load);

}  // namespace orvandel_bench

#endif
