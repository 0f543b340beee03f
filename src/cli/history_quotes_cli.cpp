#include <cstdlib>
#include <iostream>

#include "cli/command_line.h"
#include "platform/interrupts.h"
#include "platform/mail.h"
#include "platform/program.h"
#include "platform/program_places.h"

int main(int argc, char** argv) {
  try {
    hq::ConsoleMessageLoop loop;
    hq::InterruptWatch watch;
    const hq::SystemClock clock;
    hq::SystemFiles files;
    hq::SystemMail mail;
    const hq::ProgramPlaces places = hq::Places_Of_Program();
    const int code = hq::Command_Line(
        {argv + 1, argv + argc},
        {std::cout, std::cerr, hq::Error_Terminal_Width(), loop, clock, files, mail, places.Program, true,
         [&] { watch.Ask([&loop] { loop.Interrupt(); }); }, places.Package, places.MayBeMade});
    // Nothing that still works is waited for; every file is closed or gone.
    if (code == hq::exit_code::InterruptedByUser) std::_Exit(code);
    return code;
  } catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    return hq::exit_code::SymbolsFailed;
  }
}
