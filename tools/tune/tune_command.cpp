// SPDX-License-Identifier: Apache-2.0
#include "tune_command.hpp"

#include <CLI/CLI.hpp>
#include <chrono>
#include <cinttypes>
#include <iostream>
#include <stdexcept>
#include <thread>

#include "module_fields.hpp"
#include "tune_connection.hpp"
#ifdef STEADYWARP_WEB
#include "web/web_command.hpp"
#endif

namespace {

constexpr int kDone = 0;
constexpr int kRefused = 1;
constexpr int kBadInput = 2;

struct Options {
    std::string address;
    double timeout = 3.0;
    std::string path = "Default";
    std::string module;
    std::string variable;
    std::vector<std::string> pairs;
    double interval = 0.5;
    unsigned int count = 0;
    bool web = false;
    uint16_t web_port = 0;
};

// One item a line, so that other programs can read it.
void PrintItems(const std::string& text, char delimiter) {
    size_t begin = 0;
    while (begin < text.size()) {
        const size_t end = std::min(text.find(delimiter, begin), text.size());
        std::cout << text.substr(begin, end - begin) << "\n";
        begin = end + 1;
    }
}

std::string Target(const Options& options) {
    return options.path + ":" + options.module;
}

int Info(tune::Connection& connection) {
    const tune::ServiceInfo info = connection.Info();
    std::cout << "name: " << info.name << "\nprotocol: " << info.version << "\n";
    std::printf("handle: 0x%016" PRIx64 "\n", info.handle);
    std::fflush(stdout);
    std::cout << "active modes: " << connection.Ask(tune::kActiveModes)
              << "\ncontrol values: " << connection.Ask(tune::kControlValues)
              << "\ntrigger values: " << connection.Ask(tune::kTriggerValues) << "\n";
    return kDone;
}

int Modes(tune::Connection& connection, const Options& options) {
    PrintItems(connection.Ask(tune::kModes, options.path), ',');
    return kDone;
}

int List(tune::Connection& connection, const Options& options) {
    const std::string text = connection.Ask(tune::kEntries, Target(options));
    if (text.empty()) {
        std::cerr << Target(options) << ": nothing is there\n";
        return kRefused;
    }
    PrintItems(text, ';');
    return kDone;
}

// Every value of a module or of a structure in it, one a line.
int GetAll(tune::Connection& connection, const Options& options) {
    const tune::Place place{options.path, options.module, ""};
    size_t values = 0;
    const auto print = [&](const tune::Entry& entry) {
        if (entry.IsStructure()) {
            return;
        }
        ++values;
        std::cout << entry.name << "=";
        if (entry.count) {
            const char* separator = "";
            for (const std::string& value : tune::Elements(connection, place, entry)) {
                std::cout << separator << value;
                separator = ",";
            }
        } else {
            std::cout << entry.value;
        }
        std::cout << "\n";
    };
    tune::VisitFields(connection, place, UINT32_MAX, print);
    if (values == 0) {
        std::cerr << Target(options) << ": no value\n";
        return kRefused;
    }
    return kDone;
}

int GetValue(tune::Connection& connection, const Options& options) {
    if (options.variable.empty()) {
        return GetAll(connection, options);
    }
    const std::string payload = Target(options) + ":" + options.variable;
    const std::string text = connection.Ask(tune::kGet, payload);
    if (text.empty()) {
        std::cerr << payload << ": no value\n";
        return kRefused;
    }
    std::cout << text << "\n";
    return kDone;
}

// One request for each pair, so that a refusal is seen for what it is.
int SetValues(tune::Connection& connection, const Options& options) {
    int status = kDone;
    for (const std::string& pair : options.pairs) {
        const size_t equals = pair.find('=');
        if (equals == 0 || equals == std::string::npos || equals + 1 == pair.size() ||
            pair.find(';') != std::string::npos) {
            std::cerr << pair << ": expected NAME=VALUE\n";
            return kBadInput;
        }
        const std::string text = connection.Ask(tune::kSet, Target(options) + ":" + pair);
        if (text.empty()) {
            std::cerr << pair << ": refused\n";
            status = kRefused;
        } else {
            std::cout << pair.substr(0, equals) << "=" << text << "\n";
        }
    }
    return status;
}

// A line for the value now, and one for each change.
int Watch(tune::Connection& connection, const Options& options) {
    const std::string payload = Target(options) + ":" + options.variable;
    std::string before;
    const auto begin = std::chrono::steady_clock::now();
    for (unsigned int i = 0; options.count == 0 || i < options.count; ++i) {
        if (i > 0) {
            std::this_thread::sleep_for(std::chrono::duration<double>(options.interval));
        }
        const std::string text = connection.Ask(tune::kGet, payload);
        if (text.empty()) {
            std::cerr << payload << ": no value\n";
            return kRefused;
        }
        if (text != before) {
            const std::chrono::duration<double> at = std::chrono::steady_clock::now() - begin;
            std::printf("%.3f %s\n", at.count(), text.c_str());
            std::fflush(stdout);
        }
        before = text;
    }
    return kDone;
}

CLI::App* AddCommand(CLI::App& app, const char* name, const char* help, Options& options,
                     bool module_required) {
    CLI::App* command = app.add_subcommand(name, help);
    command->add_option("path", options.path, "Mode, as Default|Usecase.Video or 0.0|2.2")
        ->required(module_required);
    CLI::Option* module = command->add_option("module", options.module, "Name of a module");
    module->required(module_required);
    return command;
}

#ifdef STEADYWARP_WEB
// Either a subcommand or the page.
void AddWeb(CLI::App& app, Options& options) {
    CLI::Option* web = app.add_flag(
        "--web", options.web, "Serve a page for a browser on this machine, until an interrupt");
    app.add_option("--web-port", options.web_port, "Port of the page [a free one]")
        ->needs(web)
        ->check(CLI::Range(1, 65535))
        ->type_name("N");
    app.require_subcommand(0, 1);
    app.final_callback([&app, &options] {
        if (options.web != app.get_subcommands().empty()) {
            throw CLI::RequiredError("Either a subcommand or --web");
        }
    });
}
#endif

}  // namespace

int RunTune(int argc, char** argv) {
    CLI::App app("Read and change the values of a running camera", "steadywarp tune");
    Options options;
    app.add_option("address", options.address, "HOST:PORT or unix:#Dialin8167")->required();
    app.add_option("--timeout", options.timeout,
                   "Seconds to wait for a connection or an answer [3]")
        ->check(CLI::Range(0.01, 3600.0));
    CLI::App* info = app.add_subcommand("info", "Who answers, and what is in use");
    CLI::App* modes = app.add_subcommand("modes", "Modes below a mode, one a line");
    modes->add_option("path", options.path, "Mode, as Default|Usecase.Video or 0.0|2.2 [Default]");
    CLI::App* list = AddCommand(
        app, "list", "Fields of a module as name=value,Type[,count]; without one the modules",
        options, false);
    CLI::App* get = AddCommand(app, "get", "Print a value, or all as name=value", options, true);
    get->add_option("variable", options.variable, "Dotted path, as core.region[2].gain");
    CLI::App* set =
        AddCommand(app, "set", "Change values and print what the module holds then", options, true);
    set->add_option("values", options.pairs, "NAME=VALUE ...")->required();
    CLI::App* watch =
        AddCommand(app, "watch", "Print a value at each change, behind the seconds", options, true);
    watch->add_option("variable", options.variable, "Dotted path")->required();
    watch->add_option("--interval", options.interval, "Seconds between two looks [0.5]")
        ->check(CLI::Range(0.001, 3600.0));
    watch->add_option("--count", options.count, "Looks, 0 for no end [0]");
#ifdef STEADYWARP_WEB
    AddWeb(app, options);
#else
    app.require_subcommand(1);
#endif
    app.footer("Example: steadywarp tune 127.0.0.1:20803 set 0.0 alpha number=5");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? kDone : kBadInput;
    }
    try {
#ifdef STEADYWARP_WEB
        if (options.web) {
            return tune::RunWeb(options.address, options.timeout, options.web_port);
        }
#endif
        tune::Connection connection(options.address, options.timeout);
        return info->parsed()    ? Info(connection)
               : modes->parsed() ? Modes(connection, options)
               : list->parsed()  ? List(connection, options)
               : get->parsed()   ? GetValue(connection, options)
               : set->parsed()   ? SetValues(connection, options)
               : watch->parsed() ? Watch(connection, options)
                                 : kBadInput;
    } catch (const std::runtime_error& failure) {
        std::cerr << failure.what() << "\n";
        return kBadInput;
    }
}
