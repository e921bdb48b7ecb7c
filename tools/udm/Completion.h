#pragma once

// `udm completion bash`: the shell completion script, derived from the
// command-line definition so that it cannot fall behind the tool.

#include <vector>

#include "Tool.h"

namespace udm {

// The named sub-commands of `app` (CLI11 also keeps option groups as sub-commands).
std::vector<const CLI::App*> Commands(const CLI::App& app);

// Adds the `completion` command; call it after every other command is added.
void AddCompletionCommand(CLI::App& app, Tool& tool);

}  // namespace udm
