#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <iterator>
#include <new>

#include "platform/core/status/Status.h"
#include "platform/support/Environment.h"
#include "platform/support/StandardDescriptors.h"
#include "tools/tavik/Candidates.h"
#include "tools/tavik/CommandLine.h"
#include "tools/tavik/Run.h"
#include "tools/tavik/VersionText.h"

namespace tavik::front {
namespace {

/// The language's locale: what was asked for, or the first variable that says something.
std::string localeOf(const std::string& asked) {
    if (!asked.empty())
        return asked;
    for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"})
        if (const auto value = environmentVariable(name))
            return *value;
    return "C";
}

ExitStatus refuse(Output& output, const UsageError& error,
                  const std::vector<DocumentMember>& members) {
    output.failure(Error(static_cast<int>(Status::invalidArgument), "command line", error.what()));
    output.finish(members);
    return ExitStatus::usage;
}

ExitStatus runVerb(const Invocation& invocation) {
    const std::string locale = localeOf(invocation.locale);
    Output output(invocation.isJson ? Output::Form::json : Output::Form::text, languageOf(locale));
    Run run(output, locale);
    const auto failWith = [&](Status status, const char* detail) {
        output.failure(Error(static_cast<int>(status), invocation.verb->name, detail));
    };
    try {
        if (scopeOf(invocation.arguments) == Scope::shared)
            run.session().leaveOutForeignStore();
        invocation.verb->run(invocation.arguments, run);
    } catch (const UsageError& error) {
        return refuse(output, error, invocation.verb->members);
    } catch (const Error& error) {
        output.failure(error);
    } catch (const std::bad_alloc&) {
        failWith(Status::outOfMemory, "");
    } catch (const std::exception& error) {
        failWith(Status::internalError, error.what());
    }
    return output.finish(invocation.verb->members);
}

ExitStatus run(const std::vector<std::string>& arguments) {
    Output output(Output::Form::text, Language::english);
    if (!arguments.empty() && arguments.front() == kCandidatesWord) {
        output.block(candidates({arguments.begin() + 1, arguments.end()}));
        return output.finish({});
    }
    try {
        const Invocation invocation = readCommandLine(arguments, versionText());
        if (invocation.verb != nullptr)
            return runVerb(invocation);
        output.block(invocation.text);
        return output.finish({});
    } catch (const UsageError& error) {
        // No option was read, so the word itself tells the form.
        const bool isJson =
            std::find(arguments.begin(), arguments.end(), "--json") != arguments.end();
        Output refusal(isJson ? Output::Form::json : Output::Form::text, languageOf(localeOf("")));
        return refuse(
            refusal, error,
            arguments.empty() ? std::vector<DocumentMember>() : membersOf(arguments.front()));
    }
}

}  // namespace
}  // namespace tavik::front

int main(int argc, char** argv) {
    tavik::reserveStandardDescriptors();
    // A closed pipe is a failure to write, which is reported like any other.
    static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
    return static_cast<int>(tavik::front::run({argv + 1, argv + argc}));
}
