// Work done in child processes, because the library has one state per process.
#pragma once

#include <functional>
#include <string>
#include <vector>

// The text that `work` returns, made by a child whose standard output goes nowhere; "failed: ..."
// when it throws, with "(ended abnormally)" at the end when the child dies.
std::string run_in_child(const std::function<std::string()>& work);

// The same for many, as many at once as there are processors; the texts come in order.
std::vector<std::string> run_in_children(const std::vector<std::function<std::string()>>& works);
