#include "Measure.h"

int main(int argc, char** argv) {
    return orvandel_bench::runAndReport(argc, argv);
}
