// What the command says to those who do not know it yet, or not by heart.
#pragma once

#include <CLI/CLI.hpp>
#include <array>
#include <string>

namespace kalvetra {

struct Example {
  const char* command;
  const char* what;
};

// The first three are for beginners.
inline constexpr std::array<Example, 5> kExamples{{
    {"kalvetra key shot.mp4 keyed.mov", "Keys a clip into ProRes 4444 with alpha; the backdrop's colour is found."},
    {"kalvetra key shot.mp4 out.mp4 --over beach.jpg", "Lays the keyed clip over a picture, ready to be watched."},
    {"kalvetra still shot.mp4 look.png --at 2.5", "Shows one frame as source, matte and result side by side."},
    {"kalvetra key shot.mp4 keyed.webm --key-color '#2da54b' --clip-black 5",
     "Names the colour, and clears specks from the screen."},
    {"kalvetra report keyed.mov --max-haze 0.5",
     "Fails when more than 0.5 % of haze is left where it should be clear."},
}};

// Three examples and the list of commands, newline-terminated.
std::string overview(const CLI::App& program);

// One sentence for arguments that the program could not parse: what is wrong, what may have been meant, and where to
// read more. `program` has tried to parse them.
std::string usageSentence(const CLI::App& program, const CLI::ParseError& error);

}  // namespace kalvetra
