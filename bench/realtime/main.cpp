#include "Fanout.h"

#include "bench/loadgen/Options.h"

#include <exception>
#include <iostream>

int main(int argc, char **argv)
{
    using namespace tailwise::fanout;
    Options options;
    try {
        options = parseOptions(std::vector<std::string>(argv + 1, argv + argc));
    } catch (const tailwise::loadgen::UsageError &error) {
        std::cerr << "tailwise-fanout-bench: " << error.what()
                  << "\nTry 'tailwise-fanout-bench --help' for the options.\n";
        return 2;
    }
    if (options.help) {
        std::cout << usage();
        return 0;
    }

    try {
        const Summary summary = run(options);
        std::cout << toJson(summary) << std::endl;
        if (summary.writes == 0) {
            std::cerr << "tailwise-fanout-bench: no write was acknowledged in the measured time"
                      << (summary.firstError.empty() ? "" : ": " + summary.firstError) << "\n";
            return 1;
        }
    } catch (const std::exception &error) {
        std::cerr << "tailwise-fanout-bench: " << error.what() << "\n";
        return 1;
    }
    return 0;
}
