#include "Tool.h"

namespace udm {

CLI::App* Tool::Add(CLI::App& parent, const std::string& name, const std::string& description,
                    std::function<void()> action) {
  CLI::App* command = parent.add_subcommand(name, description);
  m_actions[command] = std::move(action);
  return command;
}

std::function<void()> Tool::Selected(const CLI::App& app) const {
  const CLI::App* current = &app;
  while (!current->get_subcommands().empty()) current = current->get_subcommands().front();
  auto action = m_actions.find(current);
  return action == m_actions.end() ? std::function<void()>() : action->second;
}

}  // namespace udm
