#pragma once

// The groups of measurements of model_bench. Each registers its benchmarks when the program starts
// and writes its rows from what they gave; a benchmark that was filtered out has none.

namespace vesta::bench {

class Results;

void printPassRows(const Results& results);
void printFindingRows(const Results& results);
void printGetRows(const Results& results);
void printNotificationRows(const Results& results);

}  // namespace vesta::bench
