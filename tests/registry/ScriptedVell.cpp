// A framework that answers as a script says: the file "script" in the folder that SCRIPTED_VELL
// names. Every call is appended to the file "log" beside it. A line of the script is a call and its
// answer, in fields with "|" between them; the last line for a call wins:
//
//     pcdGetDomainData|1|/norva/parlex/a|Path -> 0|/opt/a.app
//
// The answer is the status and the texts of the result, "null" for a null text. A call that
// is not in the script fails with status 7, but opening a session succeeds. Calls do not tell
// sessions apart; closing one does, by its name.

#include <norva_vell.h>

#include <cstdlib>
#include <deque>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

struct velliSession {
    const char* name;
};

namespace {

constexpr int kNotInTheScript = 7;

struct Answer {
    int status = kNotInTheScript;
    std::deque<std::string> texts;
    std::vector<const char*> list{nullptr};
};

/// What was given stays where it is.
std::deque<Answer> answers;

void parse(const std::string& text, Answer& answer) {
    std::istringstream fields(text + "|");
    std::string field;
    std::getline(fields, field, '|');
    answer.status = std::stoi(field);
    answer.list.clear();
    while (std::getline(fields, field, '|'))
        answer.list.push_back(field == "null" ? nullptr : answer.texts.emplace_back(field).c_str());
    answer.list.push_back(nullptr);
}

/// Logs the call and looks it up.
template <typename... Fields>
Answer& answerTo(const char* entry, Fields... fields) {
    std::ostringstream call;
    call << entry;
    ((call << '|' << fields), ...);
    const char* named = std::getenv("SCRIPTED_VELL");
    const std::string folder = named == nullptr ? "." : named;
    std::ofstream(folder + "/log", std::ios::app) << call.str() << '\n';
    const std::string start = call.str() + " -> ";
    std::ifstream script(folder + "/script");
    Answer& answer = answers.emplace_back();
    for (std::string line; std::getline(script, line);)
        if (line.rfind(start, 0) == 0)
            parse(line.substr(start.size()), answer);
    return answer;
}

int give(const char** out, const Answer& answer) {
    *out = answer.list[0];
    return answer.status;
}

int give(const char*** out, Answer& answer) {
    *out = answer.list.data();
    return answer.status;
}

int give(unsigned long* out, const Answer& answer) {
    *out = answer.list[0] == nullptr ? 0 : std::stoul(answer.list[0]);
    return answer.status;
}

}  // namespace

// A handle is left behind in any case, as a careless framework would.
#define DEFINE_OPEN_AND_CLOSE(prefix, suffix, ...)                          \
    int prefix##OpenSession##suffix(velliSession** out __VA_ARGS__) {       \
        static velliSession session{#prefix};                               \
        *out = &session;                                                    \
        const int status = answerTo(#prefix "OpenSession" #suffix).status;  \
        return status == kNotInTheScript ? 0 : status;                      \
    }                                                                       \
    int prefix##CloseSession(velliSession* session) {                       \
        answerTo(#prefix "CloseSession", session ? session->name : "null"); \
        return 0;                                                           \
    }
DEFINE_OPEN_AND_CLOSE(pcd, NoCreate, , int)
DEFINE_OPEN_AND_CLOSE(vell, , )

int pcdGetDomainDataSubdomains(velliSession*, int domain, const char*** out) {
    return give(out, answerTo("pcdGetDomainDataSubdomains", domain));
}
int pcdGetDomainDataKeys(velliSession*, int domain, const char* sub, const char*** out) {
    return give(out, answerTo("pcdGetDomainDataKeys", domain, sub));
}
int pcdGetDomainData(velliSession*, int domain, const char* sub, const char* key,
                     const char** out) {
    return give(out, answerTo("pcdGetDomainData", domain, sub, key));
}
int pcdSetDomainData(velliSession*, int domain, const char* sub, const char* key,
                     const char* value) {
    return answerTo("pcdSetDomainData", domain, sub, key, value).status;
}
int pcdRemoveDomainData(velliSession*, int domain, const char* sub, const char* key) {
    return answerTo("pcdRemoveDomainData", domain, sub, key).status;
}
int vellGetCollectionPayloads(velliSession*, int state, const char* collection, const char*** out) {
    return give(out, answerTo("vellGetCollectionPayloads", state, collection));
}
int vellGetPayloadDataKeys(velliSession*, const char* payload, int domain, const char*** out) {
    return give(out, answerTo("vellGetPayloadDataKeys", payload, domain));
}
int vellGetPayloadData(velliSession*, const char* payload, int domain, const char* key,
                       const char** out) {
    return give(out, answerTo("vellGetPayloadData", payload, domain, key));
}
int vellGetLastModTime(unsigned long* out) {
    return give(out, answerTo("vellGetLastModTime"));
}
int pcdGetLastModTime(unsigned long* out) {
    return give(out, answerTo("pcdGetLastModTime"));
}
