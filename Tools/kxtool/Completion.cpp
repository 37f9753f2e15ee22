// Completion in three shells. Each script finds the command that the words so far name, and offers what stands below
// it: commands, options, an option's values, or files.

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include "CommandTree.h"
#include "Streams.h"

namespace kxtool {
namespace {

void ForEach(const CommandInfo& command, const std::function<void(const CommandInfo&)>& use) {
    use(command);
    for (const CommandInfo& below : command.commands) ForEach(below, use);
}

std::string PathOf(const CommandInfo& command) { return fmt::format("{}", fmt::join(command.path, " ")); }

/// In single quotes, as all three shells take it.
std::string InQuotes(const std::string& text) {
    std::string quoted = "'";
    for (const char c : text) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return quoted + "'";
}

/// What may stand after a command: those below it, or the values of its first argument.
std::vector<std::string> NamesBelow(const CommandInfo& command) {
    std::vector<std::string> names;
    for (const CommandInfo& below : command.commands) names.push_back(below.path.back());
    const auto argument = std::find_if(command.options.begin(), command.options.end(),
                                       [](const OptionInfo& option) { return !option.place.empty(); });
    if (names.empty() && argument != command.options.end()) names = argument->choices;
    return names;
}

std::vector<std::string> OptionNames(const CommandInfo& command) {
    std::vector<std::string> names;
    for (const OptionInfo& option : command.options)
        names.insert(names.end(), option.names.begin(), option.names.end());
    return names;
}

/// The cases that bash and zsh share: what is offered after each command, and for the values of options.
std::string Tables(const CommandInfo& tool) {
    std::string text = "  case \"$path\" in\n";
    ForEach(tool, [&](const CommandInfo& command) {
        text += fmt::format("    {}) commands={}; options={} ;;\n", InQuotes(PathOf(command)),
                            InQuotes(fmt::format("{}", fmt::join(NamesBelow(command), " "))),
                            InQuotes(fmt::format("{}", fmt::join(OptionNames(command), " "))));
    });
    text += "  esac\n  case \"$path $previous\" in\n";
    ForEach(tool, [&](const CommandInfo& command) {
        for (const OptionInfo& option : command.options) {
            if (!option.takesValue) continue;
            for (const std::string& name : option.names) {
                text += fmt::format("    {}) kind=value; values={} ;;\n", InQuotes(PathOf(command) + " " + name),
                                    InQuotes(fmt::format("{}", fmt::join(option.choices, " "))));
            }
        }
    });
    return text + "  esac\n";
}

/// The words that may stand in a path, so that arguments are not taken for commands.
std::string PathCases(const CommandInfo& tool) {
    std::string cases;
    ForEach(tool, [&](const CommandInfo& command) {
        if (!command.path.empty()) cases += (cases.empty() ? "" : "|") + InQuotes(PathOf(command));
    });
    return cases;
}

std::string BashScript(const CommandInfo& tool) {
    return "# bash completion of kxtool; made by kxtool completion bash\n"
           "_kxtool() {\n"
           "  local word path= longer commands= options= kind= values= current=\"${COMP_WORDS[COMP_CWORD]}\"\n"
           "  local previous=\"${COMP_WORDS[COMP_CWORD-1]}\"\n"
           "  for word in \"${COMP_WORDS[@]:1:COMP_CWORD-1}\"; do\n"
           "    longer=\"${path:+$path }$word\"\n"
           "    case \"$longer\" in\n"
           "      " +
           PathCases(tool) +
           ") path=\"$longer\" ;;\n"
           "    esac\n"
           "  done\n" +
           Tables(tool) +
           "  if [ -n \"$values\" ]; then\n"
           "    mapfile -t COMPREPLY < <(compgen -W \"$values\" -- \"$current\")\n"
           "  elif [ -z \"$kind\" ] && [[ \"$current\" == -* ]]; then\n"
           "    mapfile -t COMPREPLY < <(compgen -W \"$options\" -- \"$current\")\n"
           "  elif [ -z \"$kind\" ] && [ -n \"$commands\" ]; then\n"
           "    mapfile -t COMPREPLY < <(compgen -W \"$commands\" -- \"$current\")\n"
           "  else\n"
           "    mapfile -t COMPREPLY < <(compgen -f -- \"$current\")\n"
           "    compopt -o filenames 2>/dev/null\n"
           "  fi\n"
           "}\n"
           "complete -F _kxtool kxtool\n";
}

std::string ZshScript(const CommandInfo& tool) {
    return "#compdef kxtool\n"
           "# zsh completion of kxtool; made by kxtool completion zsh\n"
           "_kxtool() {\n"
           "  local word longer commands= options= kind= values= previous=\"${words[CURRENT-1]}\"\n"
           "  local path=\n"
           "  for word in \"${(@)words[2,CURRENT-1]}\"; do\n"
           "    longer=\"${path:+$path }$word\"\n"
           "    case \"$longer\" in\n"
           "      " +
           PathCases(tool) +
           ") path=\"$longer\" ;;\n"
           "    esac\n"
           "  done\n" +
           Tables(tool) +
           "  if [[ -n \"$values\" ]]; then\n"
           "    compadd -- ${(s: :)values}\n"
           "  elif [[ -z \"$kind\" && \"${words[CURRENT]}\" == -* ]]; then\n"
           "    compadd -- ${(s: :)options}\n"
           "  elif [[ -z \"$kind\" && -n \"$commands\" ]]; then\n"
           "    compadd -- ${(s: :)commands}\n"
           "  else\n"
           "    _files\n"
           "  fi\n"
           "}\n"
           "if [[ \"$funcstack[1]\" == _kxtool ]]; then _kxtool \"$@\"; else compdef _kxtool kxtool; fi\n";
}

std::string FishScript(const CommandInfo& tool) {
    std::string text =
        "# fish completion of kxtool; made by kxtool completion fish\n"
        "function __kxtool_at\n"
        "  set -l path\n"
        "  for word in (commandline -opc)[2..-1]\n"
        "    set -l longer (string join ' ' $path $word)\n"
        "    contains -- \"$longer\" $__kxtool_paths; and set path $path $word\n"
        "  end\n"
        "  test \"$path\" = \"$argv\"\n"
        "end\n"
        "set -g __kxtool_paths";
    ForEach(tool, [&](const CommandInfo& command) {
        if (!command.path.empty()) text += " " + InQuotes(PathOf(command));
    });
    text += "\n";
    ForEach(tool, [&](const CommandInfo& command) {
        const std::string here = fmt::format("complete -c kxtool -n {}", InQuotes("__kxtool_at " + PathOf(command)));
        for (const CommandInfo& below : command.commands) {
            text += fmt::format("{} -f -a {} -d {}\n", here, below.path.back(), InQuotes(below.does));
        }
        for (const OptionInfo& option : command.options) {
            if (option.names.empty()) continue;
            text += here;
            for (const std::string& name : option.names) {
                text += name.starts_with("--") ? " -l " + name.substr(2) : " -s " + name.substr(1);
            }
            if (option.takesValue) text += " -r";
            if (!option.choices.empty()) {
                text += " -f -a " + InQuotes(fmt::format("{}", fmt::join(option.choices, " ")));
            }
            text += fmt::format(" -d {}\n", InQuotes(option.help));
        }
    });
    return text;
}

}  // namespace

std::string CompletionScript(const CommandInfo& tool, const std::string& shell) {
    return shell == "zsh" ? ZshScript(tool) : shell == "fish" ? FishScript(tool) : BashScript(tool);
}

}  // namespace kxtool
