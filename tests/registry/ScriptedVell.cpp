// A framework that answers as a script says. SCRIPTED_VELL names the script, read anew whenever a
// session is opened; SCRIPTED_VELL_LOG the file to which every call is appended. A line of the
// script is a call and its answer, in fields with "|" between them:
//
//     pcdGetDomainData|1|/norva/parlex/a|Path -> 0|/opt/a.app
//
// The answer is the status and the texts of the result, "null" for a null list or text. A call that
// is not in the script fails with status 7, but opening a session succeeds. Calls do not tell
// sessions apart; closing one does, by its name.

#include <norva_vell.h>

#include <cstdlib>
#include <deque>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

struct velliSession {
    std::string name;
};

struct velliProduct {
    std::string id;
};

namespace {

constexpr int kNotInTheScript = 7;

struct Answer {
    int status = kNotInTheScript;
    std::vector<std::string> texts;
};

std::map<std::string, Answer> answers;
std::deque<velliSession> sessions;
std::deque<velliProduct> products;
std::deque<velliPayload> payloads;
std::deque<std::string> texts;
std::deque<std::vector<const char*>> lists;

void readScript() {
    answers.clear();
    const char* path = std::getenv("SCRIPTED_VELL");
    std::ifstream script(path == nullptr ? "" : path);
    for (std::string line; std::getline(script, line);) {
        const auto arrow = line.find(" -> ");
        Answer& answer = answers[line.substr(0, arrow)];
        std::istringstream fields(line.substr(arrow + 4) + "|");
        std::string field;
        std::getline(fields, field, '|');
        answer = {std::stoi(field), {}};
        while (std::getline(fields, field, '|'))
            answer.texts.push_back(field);
    }
}

std::string fieldOf(const char* text) {
    return text == nullptr ? "null" : text;
}
std::string fieldOf(int number) {
    return std::to_string(number);
}

/// Logs the call and looks it up.
template <typename... Fields>
Answer answerTo(const char* entry, Fields... fields) {
    std::string call = entry;
    ((call += "|" + fieldOf(fields)), ...);
    if (const char* path = std::getenv("SCRIPTED_VELL_LOG"))
        std::ofstream(path, std::ios::app) << call << '\n';
    const auto found = answers.find(call);
    return found == answers.end() ? Answer() : found->second;
}

const char* keep(const std::string& text) {
    return text == "null" ? nullptr : texts.emplace_back(text).c_str();
}

int give(const char** out, const Answer& answer) {
    *out = answer.texts.empty() ? nullptr : keep(answer.texts[0]);
    return answer.status;
}

int give(const char*** out, const Answer& answer) {
    auto& list = lists.emplace_back();
    for (const auto& text : answer.texts)
        list.push_back(keep(text));
    list.push_back(nullptr);
    *out = answer.texts == std::vector<std::string>{"null"} ? nullptr : list.data();
    return answer.status;
}

int give(unsigned long* out, const Answer& answer) {
    *out = answer.texts.empty() ? 0 : std::stoul(answer.texts[0]);
    return answer.status;
}

/// Leaves a handle behind in any case, as a careless framework would.
int open(velliSession** out, const char* entry, const char* name) {
    readScript();
    const Answer answer = answerTo(entry);
    *out = &sessions.emplace_back(velliSession{name});
    return answer.status == kNotInTheScript ? 0 : answer.status;
}

int close(const velliSession* session, const char* entry) {
    answerTo(entry, session == nullptr ? "null" : session->name.c_str());
    return 0;
}

}  // namespace

#define DEFINE_OPEN_AND_CLOSE(prefix, suffix, ...)                    \
    int prefix##OpenSession##suffix(velliSession** out __VA_ARGS__) { \
        return open(out, #prefix "OpenSession" #suffix, #prefix);     \
    }                                                                 \
    int prefix##CloseSession(velliSession* session) {                 \
        return close(session, #prefix "CloseSession");                \
    }
DEFINE_OPEN_AND_CLOSE(pcd, NoCreate, , int)
DEFINE_OPEN_AND_CLOSE(vell, , )
DEFINE_OPEN_AND_CLOSE(mdb, NoCreate, )
DEFINE_OPEN_AND_CLOSE(pdb, NoCreate, )

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
int vellGetPayloads(velliSession*, int state, const char*** out) {
    return give(out, answerTo("vellGetPayloads", state));
}
int vellGetLastModTime(unsigned long* out) {
    return give(out, answerTo("vellGetLastModTime"));
}
int pcdGetLastModTime(unsigned long* out) {
    return give(out, answerTo("pcdGetLastModTime"));
}
int mdbGetProductIDList(velliSession*, const char*** out) {
    return give(out, answerTo("mdbGetProductIDList"));
}
int mdbGetProduct(velliSession*, const char* productId, velliProduct** out) {
    *out = &products.emplace_back(velliProduct{productId});
    return answerTo("mdbGetProduct", productId).status;
}
int mdbGetProductPayloads(velliSession*, velliProduct* product, const char*** out) {
    return give(out, answerTo("mdbGetProductPayloads", product->id.c_str()));
}
int mdbGetPayload(velliSession*, const char* payloadId, velliPayload** out) {
    const Answer answer = answerTo("mdbGetPayload", payloadId);
    velliPayload& payload = payloads.emplace_back();
    if (answer.texts.size() == 2)
        payload = {keep(answer.texts[0]), {}, keep(answer.texts[1])};
    *out = &payload;
    return answer.status;
}
int pdbGetPayloadData(velliSession*, const char* code, int selector, const char* key,
                      const char** out) {
    return give(out, answerTo("pdbGetPayloadData", code, selector, key));
}
int pdbGetPayloadDataKeys(velliSession*, const char* code, int selector, const char** keys) {
    const Answer answer = answerTo("pdbGetPayloadDataKeys", code, selector);
    for (const auto& key : answer.texts)
        *keys++ = keep(key);
    return answer.status;
}
