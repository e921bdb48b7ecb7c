#include "Completion.h"

#include <algorithm>
#include <iostream>
#include <sstream>

namespace udm {

namespace {

std::string Join(const std::vector<std::string>& words) {
  std::string joined;
  for (const std::string& word : words) joined += (joined.empty() ? "" : " ") + word;
  return joined;
}

// One case of `_udm_words`: what may follow the command `path`.
void Describe(const CLI::App& app, const std::string& path, std::ostream& out) {
  std::vector<std::string> commands, options, valued;
  for (const CLI::App* sub : Commands(app)) commands.push_back(sub->get_name());
  // Options a command does not know fall through to its parents'.
  for (const CLI::App* owner = &app; owner != nullptr; owner = owner->get_fallthrough() ? owner->get_parent() : nullptr) {
    for (const CLI::Option* option : owner->get_options()) {
      std::vector<std::string> names;
      for (const std::string& name : option->get_snames()) names.push_back("-" + name);
      for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
      for (const std::string& name : names) {
        // The command's own option hides a parent's of the same name.
        if (std::find(options.begin(), options.end(), name) != options.end()) continue;
        options.push_back(name);
        if (option->get_expected_max() > 0) valued.push_back(name);
      }
    }
  }
  out << "    \"" << path << "\") commands=\"" << Join(commands) << "\" options=\"" << Join(options)
      << "\" valued=\"" << Join(valued) << "\" ;;\n";
  for (const CLI::App* sub : Commands(app)) Describe(*sub, Join({path, sub->get_name()}), out);
}

std::string BashCompletion(const CLI::App& app) {
  std::ostringstream out;
  out << "# bash completion for udm, made by `udm completion bash`.\n"
         "_udm_words() {\n  case \"$1\" in\n";
  Describe(app, "", out);
  // Words after the command path are arguments: the shell completes file names for them.
  out << "  esac\n}\n\n"
         "_udm() {\n"
         "  local cur=${COMP_WORDS[COMP_CWORD]} path= commands options valued i word\n"
         "  _udm_words \"$path\"\n"
         "  for ((i = 1; i < COMP_CWORD; i++)); do\n"
         "    word=${COMP_WORDS[i]}\n"
         "    if [[ \" $valued \" == *\" $word \"* ]]; then\n"
         "      ((i++))\n"
         "    elif [[ \" $commands \" == *\" $word \"* ]]; then\n"
         "      path=${path:+$path }$word\n"
         "      _udm_words \"$path\"\n"
         "    fi\n"
         "  done\n"
         "  if [[ $cur == -* ]]; then\n"
         "    COMPREPLY=($(compgen -W \"$options\" -- \"$cur\"))\n"
         "  else\n"
         "    COMPREPLY=($(compgen -W \"$commands\" -- \"$cur\"))\n"
         "  fi\n"
         "}\n\n"
         "complete -o default -F _udm udm\n";
  return out.str();
}

}  // namespace

std::vector<const CLI::App*> Commands(const CLI::App& app) {
  return app.get_subcommands([](const CLI::App* sub) { return !sub->get_name().empty(); });
}

void AddCompletionCommand(CLI::App& app, Tool& tool) {
  CLI::App* completion = tool.Add(app, "completion",
                                  "Prints the shell completion script.\n"
                                  "Example: source <(udm completion bash)",
                                  [&app] { std::cout << BashCompletion(app); });
  completion->add_option("SHELL")->description("the shell")->required()->check(CLI::IsMember({"bash"}));
}

}  // namespace udm
