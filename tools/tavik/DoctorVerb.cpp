#include "tools/tavik/Findings.h"
#include "tools/tavik/VersionText.h"

namespace tavik::front {
namespace {

void show(const char* section, const std::vector<Finding>& findings, Run& run) {
    for (const Finding& finding : findings) {
        std::string line = std::string(section) + ": " + finding.name;
        for (const std::string& part : {finding.place, finding.facts})
            if (!part.empty())
                line += " " + part;
        run.output().line(line);
        for (const std::string& problem : finding.problems)
            run.output().line("  ! " + problem, Tone::bad);
    }
    run.output().objects(section, findings, [](JsonText& json, const Finding& finding) {
        json.member("name", finding.name);
        json.optional("place", finding.place);
        json.optional("facts", finding.facts);
        json.array("problems", finding.problems, [&](const std::string& each) { json.text(each); });
        for (const auto& [member, value] : finding.members)
            json.optional(member, value);
    });
}

void doctor(const Arguments&, Run& run) {
    run.output().block(versionText());
    run.output().object("version", [](JsonText& json) {
        json.member("version", toolVersion());
        json.optional("commit", toolCommit());
        json.objects("libraries", librariesInUse(), [&](const LibraryVersion& library) {
            json.member("name", library.name);
            json.member("version", library.version);
        });
        json.array("problems", std::vector<std::string>(), [](const std::string&) {});
    });
    for (const Section& section : kSections)
        run.attempt([&] { show(section.name, section.find(run), run); });
}

}  // namespace

const Verb kDoctorVerb = {"doctor",
                          "shows how this machine is set up, for a support request",
                          {nullptr, nullptr, 0, 0},
                          {},
                          {{"version", DocumentMember::Kind::object},
                           {"stores", DocumentMember::Kind::list},
                           {"products", DocumentMember::Kind::list},
                           {"policy", DocumentMember::Kind::list},
                           {"keys", DocumentMember::Kind::list},
                           {"feeds", DocumentMember::Kind::list},
                           {"bus", DocumentMember::Kind::list},
                           {"launch", DocumentMember::Kind::list}},
                          doctor};

}  // namespace tavik::front
