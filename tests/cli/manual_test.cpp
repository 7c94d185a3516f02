// The manual page and the completions hold every option, and their readers take them.
#include <gtest/gtest.h>

#include <fstream>
#include <functional>

#include "cli/completions.h"
#include "cli/manual_page.h"
#include "cli/program.h"
#include "tests/support/command.h"
#include "tests/support/scratch_folder.h"

namespace {

using kalvetra::CommandOutline;
using kalvetra::OptionOutline;
using kalvetra::ValueKind;
using kalvetra::test::expectHas;
using kalvetra::test::kKalvetra;
using kalvetra::test::need;
using kalvetra::test::run;
using kalvetra::test::ScratchFolder;

bool isInstalled(const std::string& program) { return run("command -v " + program).status == 0; }

std::string fileWith(const ScratchFolder& folder, const std::string& name, const std::string& text) {
  std::ofstream(folder.path(name)) << text;
  return folder.path(name);
}

// The program itself, and one with everything that may come: a command within a command, awkward texts, odd values.
CommandOutline outline() { return kalvetra::outlineOf(*kalvetra::makeProgram()); }

struct Awkward {
  CLI::App program{"It's awkward.", "kalvetra"};
  std::string text;
  int number = 3;
  Awkward() {
    CLI::App* outer = program.add_subcommand("preset", "Holds [others]: two, `and` $HOME. Not this.");
    CLI::App* inner = outer->add_subcommand("list", "'Quoted' \\ and .dotted");
    outer->add_subcommand("drop-all", "Second")->add_option("WHICH", text, "One")->check(CLI::IsMember({"one", "two"}));
    outer->add_subcommand("secret", "Not shown")->group("");
    inner->add_option("-o,--order", text, ".begins with a dot: a\\b")->check(CLI::IsMember({"up", "down"}));
    inner->add_option("--depth", number, "A number")->capture_default_str();
    inner->add_option("--into", text, "Where to")->type_name("DIR");
    inner->add_option("--hidden", text, "Not shown")->group("");
    inner->add_option_group("Together", "")->add_option("--grouped", text, "In a group");
    inner->add_flag("-q")->description("Only short");
  }
};

// Every option that --help shows, found without the outline.
void walk(const CLI::App& app, const std::string& path,
          const std::function<void(const std::string& path, const std::string& name)>& see) {
  for (const CLI::Option* option : app.get_options()) {
    if (option->get_group().empty()) continue;
    for (const std::string& name : option->get_snames()) see(path, "-" + name);
    for (const std::string& name : option->get_lnames()) see(path, "--" + name);
  }
  for (const CLI::App* child : app.get_subcommands([](const CLI::App* a) { return !a->get_group().empty(); })) {
    walk(*child, child->get_name().empty() ? path : path + " " + child->get_name(), see);
  }
}

// The part of a text from a line on, up to the next line that begins like it.
std::string sectionOf(const std::string& text, const std::string& begin, const std::string& next) {
  const std::size_t from = text.find(begin);
  if (from == std::string::npos) return {};
  return text.substr(from, text.find(next, from + begin.size()) - from);
}

std::string replaced(std::string text, const std::string& from, const std::string& to) {
  for (std::size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size()) {
    text.replace(at, from.size(), to);
  }
  return text;
}

void expectComplete(const CLI::App& program) {
  const CommandOutline all = kalvetra::outlineOf(program);
  const std::string page = kalvetra::manualPage(all, "1.0"), bash = kalvetra::bashCompletion(all),
                    zsh = kalvetra::zshCompletion(all), fish = kalvetra::fishCompletion(all);
  int seen = 0;
  walk(program, "kalvetra", [&](const std::string& path, const std::string& name) {
    ++seen;
    const std::string command = path == "kalvetra" ? "" : path.substr(9), last = path.substr(path.rfind(' ') + 1);
    const std::string heading = command.empty() ? ".SH OPTIONS" : ".SS " + replaced(command, "-", "\\-") + "\n";
    expectHas(sectionOf(page, heading, "\n.S"), "\\fB" + replaced(name, "-", "\\-") + "\\fR");
    expectHas(sectionOf(bash, "'" + path + "') options='", " words=") + "'", name);
    const std::string function = replaced(replaced(path, "-", "_"), " ", "_");
    expectHas(sectionOf(zsh, "\n_" + function + "() {", "\n}"), ")" + name);
    const bool isLong = name.starts_with("--");
    const std::string option = (isLong ? " -l " : " -s ") + name.substr(isLong ? 2 : 1) + " ";
    const std::string condition = command.empty() ? "-n __fish_use_subcommand" : "__fish_seen_subcommand_from " + last;
    bool inFish = false;
    std::istringstream lines(fish);
    for (std::string line; std::getline(lines, line);) {
      inFish = inFish || (line.find(option) != std::string::npos && line.find(condition) != std::string::npos);
    }
    EXPECT_TRUE(inFish) << path << " " << name;
  });
  EXPECT_GT(seen, 5);
}

// What bash offers for a line of words, the last of which is being typed; sorted, one a line.
std::string bashOffers(const std::string& script, const std::string& words, int count) {
  return need("bash -c 'source " + script + "; COMP_WORDS=(" + words + "); COMP_CWORD=" + std::to_string(count) +
              "; _kalvetra; printf \"%s\\n\" \"${COMPREPLY[@]}\" | sort'");
}

TEST(Manual, HoldsEveryOptionOfEveryCommand) {
  expectComplete(*kalvetra::makeProgram());
  expectComplete(Awkward().program);
}

TEST(Manual, ShowsValuesDefaultsAndHelpAndHidesWhatIsHidden) {
  const std::string page = need(kKalvetra + " manual page");
  expectHas(page, "\\fB\\-\\-smooth\\-bg\\fR \\fIon, off\\fR\nKey against an estimate");
  expectHas(page, "\\fB\\-f\\fR, \\fB\\-\\-format\\fR \\fInull, hash, nut, raw\\fR\n");
  expectHas(page,
            "\\fB\\-\\-shadow\\fR \\fI0..100\\fR\nDensity of shadows on the backdrop; lower values lighten them. "
            "Default: 100.");
  EXPECT_EQ(std::string::npos, page.find(".SS manual"));
  EXPECT_EQ(std::string::npos, need(kKalvetra + " --help").find("manual"));
  for (const char* section : {"NAME", "SYNOPSIS", "DESCRIPTION", "COMMANDS", "EXIT STATUS", "EXAMPLES", "FILES"}) {
    expectHas(page, std::string(".SH ") + section + "\n");
  }
  const std::string awkward = kalvetra::manualPage(kalvetra::outlineOf(Awkward().program), "1.0");
  expectHas(awkward, "\n\\&.begins with a dot: a\\eb.\n");
  expectHas(awkward, "\nA number. Default: 3.\n");
  EXPECT_EQ(std::string::npos, awkward.find("\\-hidden"));
  EXPECT_EQ(std::string::npos, awkward.find("secret"));
}

TEST(Manual, IsCleanRoff) {
  if (!isInstalled("groff")) GTEST_SKIP() << "groff is not installed";
  const ScratchFolder folder;
  for (const CommandOutline& program : {outline(), kalvetra::outlineOf(Awkward().program)}) {
    const std::string file = fileWith(folder, "kalvetra.1", kalvetra::manualPage(program, "1.0"));
    EXPECT_EQ("", need("groff -man -ww -z " + file));
    expectHas(need("groff -man -Tascii -P-cbou " + file), "EXIT STATUS");
  }
}

TEST(Completion, TakenByBashWhichOffersWhatFits) {
  const ScratchFolder folder;
  const std::string script = fileWith(folder, "kalvetra", need(kKalvetra + " manual bash"));
  EXPECT_EQ("", need("bash -n " + script));
  EXPECT_EQ("--smooth-bg\n", bashOffers(script, "kalvetra key --sm", 2));
  EXPECT_EQ("key\n", bashOffers(script, "kalvetra ke", 1));
  EXPECT_EQ("off\non\n", bashOffers(script, "kalvetra key --smooth-bg o", 3));
  EXPECT_EQ("source\n", bashOffers(script, "kalvetra still shot.mp4 --view = s", 5));  // --view=s
  EXPECT_EQ("comp\nmatte\nplate\nresult\nsource\nstatus\n", bashOffers(script, "kalvetra key --view =", 3));
  EXPECT_EQ("\n", bashOffers(script, "kalvetra key --shadow \"\"", 3));
  EXPECT_EQ("\n", bashOffers(script, "kalvetra doctor --sm", 2));  // not that command's
  need("mkdir '" + folder.path("a folder") + "' && touch '" + folder.path("a clip.mp4") + "'");
  EXPECT_EQ(folder.path("a clip.mp4") + "\n" + folder.path("a folder") + "\n",
            bashOffers(script, "kalvetra key \"" + folder.path("a") + "\"", 2));
  EXPECT_EQ(folder.path("a folder") + "\n",
            bashOffers(script, "kalvetra sample --truth \"" + folder.path("a") + "\"", 3));
}

TEST(Completion, FollowsCommandsWithinCommandsInBash) {
  const ScratchFolder folder;
  const std::string script =
      fileWith(folder, "kalvetra", kalvetra::bashCompletion(kalvetra::outlineOf(Awkward().program)));
  EXPECT_EQ("", need("bash -n " + script));
  EXPECT_EQ("drop-all\nlist\n", bashOffers(script, "kalvetra preset \"\"", 2));
  EXPECT_EQ("down\nup\n", bashOffers(script, "kalvetra preset list -o \"\"", 4));
  EXPECT_EQ("one\ntwo\n", bashOffers(script, "kalvetra preset drop-all \"\"", 3));
}

TEST(Completion, TakenByZsh) {
  if (!isInstalled("zsh")) GTEST_SKIP() << "zsh is not installed";
  const ScratchFolder folder;
  for (const CommandOutline& program : {outline(), kalvetra::outlineOf(Awkward().program)}) {
    EXPECT_EQ("", need("zsh -n " + fileWith(folder, "_kalvetra", kalvetra::zshCompletion(program))));
  }
}

TEST(Completion, TakenByFishWhichOffersWhatFits) {
  if (!isInstalled("fish")) GTEST_SKIP() << "fish is not installed";
  const ScratchFolder folder;
  const std::string own = fileWith(folder, "own.fish", kalvetra::fishCompletion(outline()));
  const std::string awkward =
      fileWith(folder, "awkward.fish", kalvetra::fishCompletion(kalvetra::outlineOf(Awkward().program)));
  const auto offers = [&](const std::string& file, const std::string& line) {
    return need("HOME=" + folder.path("") + " fish -N -c 'source " + file + "; complete -C \"" + line +
                "\"' | cut -f1");
  };
  EXPECT_EQ("--smooth-bg\n", offers(own, "kalvetra key --smo"));
  EXPECT_EQ("comp\nmatte\nplate\nresult\nsource\nstatus\n",
            need("echo '" + offers(own, "kalvetra key --view ") + "' | sort | grep ."));
  EXPECT_EQ("down\nup\n", need("echo '" + offers(awkward, "kalvetra preset list --order ") + "' | sort | grep ."));
  EXPECT_EQ("drop-all\nlist\n", need("echo '" + offers(awkward, "kalvetra preset ") + "' | sort | grep ."));
}

}  // namespace
