#include "LoadGenerator.h"

#include <exception>
#include <iostream>

int main(int argc, char **argv)
{
    using namespace tailwise::loadgen;
    Options options;
    try {
        options = parseOptions(std::vector<std::string>(argv + 1, argv + argc));
    } catch (const UsageError &error) {
        std::cerr << "tailwise-loadgen: " << error.what()
                  << "\nTry 'tailwise-loadgen --help' for the options.\n";
        return 2;
    }
    if (options.help) {
        std::cout << usage();
        return 0;
    }

    try {
        const auto summary = runLoad(options);
        std::cout << toJson(summary) << std::endl;
        if (summary.succeeded() == 0) {
            std::cerr << "tailwise-loadgen: no request got a 2xx answer\n";
            return 1;
        }
    } catch (const std::exception &error) {
        std::cerr << "tailwise-loadgen: " << error.what() << "\n";
        return 1;
    }
    return 0;
}
