#include "tools/tavik/Words.h"

#include <algorithm>
#include <array>
#include <iterator>

namespace tavik::front {
namespace {

using Texts = std::array<const char*, 4>;  // English, French, German, Japanese

struct Row {
    Word word;
    Texts texts;
};

constexpr Row kWords[] = {
    {Word::id, {"ID", "ID", "ID", "ID"}},
    {Word::name, {"Name", "Nom", "Name", "名前"}},
    {Word::version, {"Version", "Version", "Version", "バージョン"}},
    {Word::state, {"State", "État", "Zustand", "状態"}},
    {Word::scope, {"For", "Pour", "Für", "対象"}},
    {Word::products, {"Products", "Produits", "Produkte", "製品"}},
    {Word::signer, {"Signer", "Signataire", "Signiert von", "署名者"}},
    {Word::update, {"Update", "Mise à jour", "Aktualisierung", "更新"}},
    {Word::folder, {"Folder", "Dossier", "Ordner", "フォルダー"}},
    {Word::feed, {"Feed", "Flux", "Feed", "フィード"}},
    {Word::links, {"Links", "Liens", "Verknüpfungen", "リンク"}},
    {Word::files, {"Files", "Fichiers", "Dateien", "ファイル"}},
    {Word::installed, {"Installed", "Installée", "Installiert", "インストール済み"}},
    {Word::product, {"Product", "Produit", "Produkt", "製品"}},
    {Word::offered, {"Offered", "Proposée", "Angeboten", "提供"}},
    {Word::time, {"Time (UTC)", "Heure (UTC)", "Zeit (UTC)", "日時 (UTC)"}},
    {Word::change, {"Change", "Modification", "Änderung", "変更"}},
    {Word::user, {"User", "Utilisateur", "Benutzer", "ユーザー"}},
    {Word::problem, {"Problem", "Problème", "Problem", "問題"}},
    {Word::path, {"Path", "Chemin", "Pfad", "パス"}},
    {Word::enabled, {"enabled", "activée", "aktiv", "有効"}},
    {Word::disabled, {"disabled", "désactivée", "inaktiv", "無効"}},
    {Word::masked, {"disabled for me", "désactivée pour moi", "für mich inaktiv", "自分のみ無効"}},
    {Word::forUser, {"me", "moi", "mich", "自分"}},
    {Word::forAllUsers, {"all users", "tous", "alle", "全ユーザー"}},
    {Word::notHere, {"not installed", "absent", "nicht installiert", "未インストール"}},
    {Word::doesNotFit, {"does not fit", "incompatible", "passt nicht", "対象外のバージョン"}},
    {Word::nothingToDo, {"nothing to do", "rien à faire", "nichts zu tun", "変更はありません"}},
    {Word::didInstall, {"install", "installer", "installieren", "インストール"}},
    {Word::didUpdate, {"update", "mettre à jour", "aktualisieren", "更新"}},
    {Word::didReinstall, {"reinstall", "réinstaller", "neu installieren", "再インストール"}},
    {Word::didRemove, {"remove", "supprimer", "entfernen", "削除"}},
    {Word::didEnable, {"enable", "activer", "aktivieren", "有効化"}},
    {Word::didDisable, {"disable", "désactiver", "deaktivieren", "無効化"}},
    {Word::didMask,
     {"disable for me", "désactiver pour moi", "für mich deaktivieren", "自分のみ無効化"}},
    {Word::didUnmask,
     {"enable for me", "activer pour moi", "für mich aktivieren", "自分のみ有効化"}},
};

struct Remedy {
    Status status;
    Texts texts;
};

// The remedies in the table of causes name options of TavikCmd. These take their place.
constexpr Remedy kRemedies[] = {
    {Status::invalidArgument,
     {"see tavik help", "voyez tavik help", "siehe tavik help", "tavik help を参照してください"}},
    {Status::storeDamaged,
     {"repair it with tavik repair", "réparez-la avec tavik repair",
      "reparieren Sie sie mit tavik repair", "tavik repair で修復してください"}},
    {Status::extensionNotFound,
     {"see the names with tavik list", "affichez les noms avec tavik list",
      "zeigen Sie die Namen mit tavik list an", "tavik list で名前を確認してください"}},
    {Status::productNotFound,
     {"see the products with tavik products", "affichez les produits avec tavik products",
      "zeigen Sie die Produkte mit tavik products an", "tavik products で製品を確認してください"}},
    {Status::installedForAllUsers,
     {"say --all-users, with an administrator's rights",
      "ajoutez --all-users, avec les droits d'un administrateur",
      "geben Sie --all-users an, mit den Rechten eines Administrators",
      "管理者の権限で --all-users を付けてください"}},
    {Status::endPointMissing,
     {"give --identity-service, --account and --token-file",
      "indiquez --identity-service, --account et --token-file",
      "geben Sie --identity-service, --account und --token-file an",
      "--identity-service、--account、--token-file を指定してください"}},
    {Status::credentialsMissing,
     {"give --account and --token-file", "indiquez --account et --token-file",
      "geben Sie --account und --token-file an", "--account と --token-file を指定してください"}},
};

}  // namespace

const char* word(Word wanted, Language language) noexcept {
    const auto* row = std::find_if(std::begin(kWords), std::end(kWords),
                                   [wanted](const Row& each) { return each.word == wanted; });
    return row == std::end(kWords) ? "" : row->texts[static_cast<std::size_t>(language)];
}

const char* remedyFor(int status, Language language) noexcept {
    for (const Remedy& remedy : kRemedies)
        if (static_cast<int>(remedy.status) == status)
            return remedy.texts[static_cast<std::size_t>(language)];
    return wordingOf(status, language).remedy;
}

const char* nameOf(int status) noexcept {
    for (std::size_t i = 0; i < causeCount(); ++i)
        if (static_cast<int>(causes()[i].status) == status)
            return causes()[i].name;
    return "internalError";
}

}  // namespace tavik::front
