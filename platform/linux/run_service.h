// How a service of a Linux box starts: by its command line, with the same exit statuses.
#ifndef PLATFORM_LINUX_RUN_SERVICE_H
#define PLATFORM_LINUX_RUN_SERVICE_H

#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <string>

// Lets `declare` name the options, reads them, and runs the service with them. Returns what `run`
// gives, 2 after wrong use, or 1, with a line on standard error, after what a library has thrown.
template <typename Options>
int run_service(const char* name, const char* what, void (*declare)(CLI::App&, Options&),
                int (*run)(const Options&), int argc, char** argv) {
  try {
    Options options;
    CLI::App app(what, name);
    app.set_version_flag("--version", std::string(name) + " " VORLENT_VERSION);
    declare(app, options);
    try {
      app.parse(argc, argv);
    } catch (const CLI::ParseError& wrong) {
      return app.exit(wrong) == 0 ? 0 : 2;
    }
    return run(options);
  } catch (const std::exception& error) {  // the libraries', or no memory
    static_cast<void>(fprintf(stderr, "%s: %s\n", name, error.what()));
    return 1;
  }
}

#endif
