#include "tools/tavik/Run.h"

namespace tavik::front {
namespace {

void mirror(const Arguments& arguments, Run& run) {
    if (arguments.operands.size() < 2)
        throw UsageError("mirror takes addresses of feeds, and a folder behind them");
    const std::string& folder = arguments.operands.back();
    const MirrorReport report =
        run.session().mirror({arguments.operands.begin(), arguments.operands.end() - 1}, folder);
    for (const Error& error : report.failures)
        run.output().failure(error);
    for (const auto& path : report.copied)
        run.output().line("+ " + path, Tone::good);
    for (const auto& path : report.removed)
        run.output().line("- " + path, Tone::faint);
    run.output().texts("copied", report.copied);
    run.output().texts("unchanged", report.unchanged);
    run.output().texts("removed", report.removed);
}

}  // namespace

const Verb kMirrorVerb = {"mirror",
                          "copies feeds and their packages into a folder for a web server",
                          {"ADDRESS", "addresses of feeds, and the folder last", 1, kAny},
                          {},
                          {{"copied", DocumentMember::Kind::list},
                           {"unchanged", DocumentMember::Kind::list},
                           {"removed", DocumentMember::Kind::list}},
                          mirror};

}  // namespace tavik::front
