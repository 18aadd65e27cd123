// vyr_soak: hours of use of the simulated phone compressed into minutes, with
// faults injected. Starts vyrd in a fresh sandbox of the default product with
// file logging on (or off, --logging off), plays a seeded plan of clients, inputs and faults
// against it, restarts it when the watchdog ends it, and prints a summary (a table on standard
// output, JSON in the sandbox). Exit code 1 when an invariant fails.
#include <signal.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <random>

#include "soak/SoakRun.h"

int main(int argc, char **argv) {
    soak::Options opt;
    int64_t seconds = 180;
    uint64_t seed = 0;
    bool printPlan = false;
    std::string jsonPath;
    CLI::App app{"vyr_soak: a soak and fault run of the simulated phone"};
    app.add_option("--seconds", seconds, "Length of use (the watchdog's waits come on top)")
        ->capture_default_str();
    app.add_option("--seed", seed, "Seed of the plan (default: from the clock, printed)");
    app.add_option("--root", opt.root, "Sandbox, made fresh (default: a new temporary directory)");
    app.add_option("--vyrd", opt.vyrd, "The daemon (default: vyrd beside this program)");
    app.add_option("--recovery-ms", opt.recoveryMs,
                   "A module's results must come again within this after a fault")
        ->capture_default_str();
    app.add_option("--warmup-ms", opt.warmupMs, "Memory and descriptors are judged after this")
        ->capture_default_str();
    app.add_option("--pss-bound-kb", opt.pssBoundKb, "Allowed PSS growth of a daemon after warm-up")
        ->capture_default_str();
    app.add_option("--fd-bound", opt.fdBound, "Allowed growth of open descriptors after warm-up")
        ->capture_default_str();
    std::string logging = "on";
    app.add_option("--logging", logging,
                   "File logging of the phone: on, or off as on a user's phone (no log files; "
                   "the log-file faults and the CSV check do not apply)")
        ->check(CLI::IsMember({"on", "off"}))
        ->capture_default_str();
    app.add_option("--json", jsonPath, "Also write the JSON summary to FILE");
    app.add_flag("--plan", printPlan, "Print the plan of the seed and length, and stop");
    app.add_flag("-v,--verbose", opt.verbose,
                 "Print every command, every line of the daemon and every fault on standard error");
    CLI11_PARSE(app, argc, argv);

    if (app.count("--seed") == 0) {
        seed = static_cast<uint64_t>(std::chrono::system_clock::now().time_since_epoch().count()) %
               1000000;
    }
    opt.seed = seed;
    opt.logging = logging == "on";
    opt.lengthMs = seconds * 1000;
    if (printPlan) {
        printf("%s", soak::PlanText(soak::MakePlan(opt.seed, opt.lengthMs)).c_str());
        return 0;
    }
    if (opt.vyrd.empty()) {
        std::error_code ec;
        opt.vyrd =
            (std::filesystem::read_symlink("/proc/self/exe", ec).parent_path() / "vyrd").string();
    }
    if (opt.root.empty()) {
        char dir[] = "/tmp/vyr-soak-XXXXXX";
        if (mkdtemp(dir) == nullptr) {
            perror("mkdtemp");
            return 2;
        }
        opt.root = dir;
    }
    opt.root = std::filesystem::absolute(opt.root).lexically_normal().string();
    // A daemon that has ended must not end the supervisor through its pipe.
    signal(SIGPIPE, SIG_IGN);

    soak::SoakRun run(opt);
    nlohmann::ordered_json summary;
    const bool pass = run.Run(summary);
    if (summary.is_null()) {
        return 2;
    }
    printf("%s", soak::SoakRun::Table(summary).c_str());
    printf("summary: %s/soak-summary.json\n", opt.root.c_str());
    if (!jsonPath.empty()) {
        FILE *out = fopen(jsonPath.c_str(), "w");
        if (out != nullptr) {
            fprintf(out, "%s\n", summary.dump(2).c_str());
            fclose(out);
        }
    }
    return pass ? 0 : 1;
}
