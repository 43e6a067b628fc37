#include "tools/tavik/CommandLine.h"

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <algorithm>

#include "platform/core/session/NameSearch.h"

namespace tavik::front {
namespace {

constexpr const char* kFooter =
    "Exit status: 0 done, or nothing to do; 1 something failed; 2 the command line is wrong,\n"
    "nothing was done; 3 there would be something to do.\n";
// Limits for the library. It takes both for lists, and shows the larger one as a list without end.
constexpr int kFewOperands = 1 << 20;
constexpr int kManyOperands = CLI::detail::expected_max_vector_size;
constexpr char kMark = '\x01';

/// Help texts that say "verb", and show what a verb takes as the manual page does.
class Formatter : public CLI::Formatter {
  public:
    Formatter() {
        label("SUBCOMMAND", "VERB");
        label("REQUIRED", "");
    }

    std::string make_option_usage(const CLI::Option* option) const override {
        const std::string text =
            option->get_name() + (option->get_expected_max() == kManyOperands ? "..." : "");
        return option->get_required() ? text : "[" + text + "]";
    }
};

/// Where the library puts what it reads; the verbs get it as Arguments.
struct Values {
    std::vector<std::string> operands;
    std::map<std::string, std::string> options;
    std::map<std::string, bool> switches;
    bool isJson = false;
    std::string locale;
};

void declareOperands(CLI::App& app, const Operands& rule, Values& values) {
    if (rule.name == nullptr)
        return;
    CLI::Option* option = app.add_option(rule.name, values.operands, rule.help);
    // How many it may be at the most is checked later.
    option->expected(rule.least, rule.most == kAny ? kManyOperands : kFewOperands)->type_name("");
    if (rule.least > 0)
        option->required();
}

void declare(CLI::App& app, const Verb& verb, Values& values) {
    declareOperands(app, verb.operands, values);
    for (const OptionRule& rule : verb.options) {
        const std::string name = std::string("--") + rule.name;
        if (rule.value == nullptr)
            app.add_flag(name, values.switches[rule.name], rule.help);
        else
            app.add_option(name, values.options[rule.name], rule.help)->type_name(rule.value);
    }
    app.add_flag(std::string("--") + kJsonOption.name, values.isJson, kJsonOption.help);
    app.add_option(std::string("--") + kLocaleOption.name, values.locale, kLocaleOption.help)
        ->type_name(kLocaleOption.value);
    app.group("Verbs")->footer(kFooter);
}

/// The library takes "[a]" for a list with the one entry "a". An argument that begins like that
/// gets a mark in front before the library sees it.
std::string marked(const std::string& argument) {
    return argument.empty() || argument.front() != '[' ? argument : kMark + argument;
}

std::string unmarked(const std::string& argument) {
    return argument.empty() || argument.front() != kMark ? argument : argument.substr(1);
}

Arguments argumentsOf(const CLI::App& app, const Verb& verb, const Values& values) {
    Arguments arguments;
    for (const std::string& operand : values.operands) {
        if (operand.empty())
            throw UsageError("an argument is empty");
        arguments.operands.push_back(unmarked(operand));
    }
    if (verb.operands.most != kAny &&
        arguments.operands.size() > static_cast<std::size_t>(verb.operands.most))
        throw UsageError("\"" + arguments.operands.back() + "\" is one argument too many");
    for (const auto& [name, value] : values.options)
        if (app.count("--" + name) != 0)
            arguments.options[name] = unmarked(value);
    for (const auto& [name, isSet] : values.switches)
        if (isSet)
            arguments.options[name] = "";
    return arguments;
}

/// Messages of the library may have several lines.
std::string oneLine(std::string text) {
    std::replace(text.begin(), text.end(), '\n', ' ');
    return text;
}

[[noreturn]] void refuseVerb(const std::string& word) {
    std::vector<NamedExtension> known;
    for (const Verb* verb : allVerbs())
        known.push_back({verb->name, verb->name});
    const std::string nearest = suggestionsFor(known, word);
    throw UsageError("\"" + word + "\" is no verb" + (nearest.empty() ? "" : ", " + nearest));
}

/// The library names what it did not expect from the last to the first.
[[noreturn]] void refuseExtras(const CLI::App& app) {
    const auto extras = app.remaining(true);
    const std::string first = extras.empty() ? "" : unmarked(extras.front());
    const bool isOption = !first.empty() && first.front() == '-';
    const auto verbs = app.get_subcommands();
    if (verbs.empty() && !isOption)
        refuseVerb(first);
    if (!isOption)
        throw UsageError("\"" + first + "\" is not expected here");
    // What the program itself did not take stood before the verb.
    throw UsageError("\"" + first + "\" is no option " +
                     (app.remaining().empty() ? "of " + verbs.front()->get_name()
                                              : "here: options stand behind the verb"));
}

Invocation helpFor(const CLI::App& app, const std::string& verb) {
    Invocation invocation;
    if (verb.empty()) {
        // help() of an app is about the verb that it has just read, here "help" itself.
        invocation.text =
            app.get_formatter()->make_help(&app, app.get_name(), CLI::AppFormatMode());
        return invocation;
    }
    try {
        invocation.text = app.get_subcommand(verb)->help(app.get_name());
    } catch (const CLI::OptionNotFound&) {
        refuseVerb(verb);
    }
    return invocation;
}

}  // namespace

const std::vector<const Verb*>& allVerbs() {
    static const std::vector<const Verb*> verbs = {
        &kInstallVerb, &kRemoveVerb, &kEnableVerb,   &kDisableVerb, &kUpdateVerb, &kSearchVerb,
        &kListVerb,    &kInfoVerb,   &kProductsVerb, &kFreezeVerb,  &kApplyVerb,  &kMirrorVerb,
        &kVerifyVerb,  &kRepairVerb, &kHistoryVerb,  &kDoctorVerb};
    return verbs;
}

std::vector<DocumentMember> membersOf(const std::string& verb) {
    for (const Verb* each : allVerbs())
        if (each->name == verb)
            return each->members;
    return {};
}

Invocation readCommandLine(const std::vector<std::string>& arguments, const std::string& version) {
    CLI::App app("Manages the extensions of host products.", "tavik");
    app.require_subcommand(0, 1);
    app.formatter(std::make_shared<Formatter>());
    app.footer("tavik VERB --help explains a verb.\n" + std::string(kFooter));
    bool wantsVersion = false;
    app.add_flag("--version", wantsVersion, "version, commit and the libraries in use");
    std::string explained;
    const CLI::App* help = app.add_subcommand("help", "prints this text, or that of a verb");
    app.get_subcommand("help")
        ->group("Verbs")
        ->add_option("VERB", explained, "the verb to be explained")
        ->type_name("");
    std::vector<Values> values(allVerbs().size());
    std::vector<CLI::App*> verbs;
    for (std::size_t i = 0; i < allVerbs().size(); ++i) {
        verbs.push_back(app.add_subcommand(allVerbs()[i]->name, allVerbs()[i]->summary));
        declare(*verbs.back(), *allVerbs()[i], values[i]);
    }

    try {
        std::vector<std::string> reversed;
        for (auto argument = arguments.rbegin(); argument != arguments.rend(); ++argument)
            reversed.push_back(marked(*argument));
        app.parse(std::move(reversed));
    } catch (const CLI::CallForHelp&) {
        const auto parsed = app.get_subcommands();
        return helpFor(app, parsed.empty() ? "" : parsed.front()->get_name());
    } catch (const CLI::ExtrasError&) {
        refuseExtras(app);
    } catch (const CLI::ParseError& error) {
        throw UsageError(oneLine(error.what()));
    }
    Invocation invocation;
    for (std::size_t i = 0; i < verbs.size(); ++i)
        if (verbs[i]->parsed()) {
            invocation.verb = allVerbs()[i];
            invocation.arguments = argumentsOf(*verbs[i], *allVerbs()[i], values[i]);
            invocation.isJson = values[i].isJson;
            invocation.locale = values[i].locale;
            return invocation;
        }
    if (wantsVersion && !help->parsed()) {
        invocation.text = version;
        return invocation;
    }
    return helpFor(app, explained);
}

}  // namespace tavik::front
