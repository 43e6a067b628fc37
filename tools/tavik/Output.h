#pragma once

#include <string>
#include <vector>

#include "platform/core/status/Texts.h"
#include "platform/support/Error.h"
#include "platform/support/JsonText.h"
#include "tools/tavik/Table.h"
#include "tools/tavik/Verb.h"

namespace tavik::front {

/// The tool's exit statuses. There are no others.
enum class ExitStatus { done = 0, failed = 1, usage = 2, pending = 3 };

/// All that the tool says. As text, results go to standard output as they come and failures to
/// standard error, one line each. As JSON, results and failures are one document, which finish()
/// writes; failures go to standard error all the same.
class Output {
  public:
    enum class Form { text, json };

    Output(Form form, Language language);

    bool isJson() const noexcept { return form_ == Form::json; }
    Language language() const noexcept { return language_; }

    /// Text only: a JSON run leaves these out.
    void line(const std::string& text, Tone tone = Tone::plain);
    void table(const Table& table);
    /// A text of several lines, each with its end.
    void block(const std::string& text);

    /// From here on as JSON, whatever was asked for.
    void useJson() noexcept { form_ = Form::json; }

    /// JSON: a member of the document that is a list of objects; `body` writes the members of one.
    template <class Values, class Body>
    void objects(const char* member, const Values& values, Body body) {
        written_.emplace_back(member);
        document_.objects(member, values, [&](const auto& value) { body(document_, value); });
    }
    template <class Body>
    void object(const char* member, Body body) {
        written_.emplace_back(member);
        document_.object(member, [&] { body(document_); });
    }
    void texts(const char* member, const std::vector<std::string>& values) {
        written_.emplace_back(member);
        document_.array(member, values, [&](const std::string& each) { document_.text(each); });
    }

    /// Notes a failure, which makes the exit status 1. What was said before is not said again: a
    /// feed that is out of reach fails for each of its extensions.
    void failure(const Error& error);

    bool hasFailures() const noexcept { return !failures_.empty(); }

    /// Notes that there would be something to do: exit status 3 where nothing failed.
    void pending() noexcept { isPending_ = true; }

    /// Ends the output; `members` of the verb that were not written become empty ones.
    ExitStatus finish(const std::vector<DocumentMember>& members);

  private:
    void write(const std::string& text);
    void finishDocument(const std::vector<DocumentMember>& members);

    Form form_;
    Language language_;
    DrawingRules out_;
    DrawingRules err_;
    JsonText document_;
    std::vector<std::string> written_;
    std::vector<Error> failures_;
    bool isPending_ = false;
    bool cannotWrite_ = false;
};

}  // namespace tavik::front
