#pragma once

#include "platform/core/status/Texts.h"

namespace tavik {

/// The front end for people and scripts: statuses -75 to -78.
inline constexpr Cause kToolCauses[] = {
    {Status::outputFailed,
     "outputFailed",
     {{"the output cannot be written", "check the file, pipe or terminal that it goes to"},
      {"la sortie ne peut pas être écrite", "vérifiez où elle mène"},
      {"die Ausgabe lässt sich nicht schreiben", "sehen Sie nach, wohin sie führt"},
      {"出力を書き込めません", "出力先を確認してください"}}},
    {Status::cancelled,
     "cancelled",
     {{"it was cancelled", "nothing was changed; start it again"},
      {"l'opération a été interrompue", "rien n'a été modifié ; relancez-la"},
      {"der Vorgang wurde abgebrochen", "nichts wurde geändert; starten Sie ihn erneut"},
      {"処理は取り消されました", "変更はありません。もう一度実行してください"}}},
    {Status::stateFileInvalid,
     "stateFileInvalid",
     {{"the state file is not valid", "correct it, or make one with tavik freeze"},
      {"le fichier d'état n'est pas valide", "corrigez-le, ou créez-en un avec tavik freeze"},
      {"die Zustandsdatei ist ungültig",
       "korrigieren Sie sie, oder erstellen Sie eine mit tavik freeze"},
      {"状態ファイルが正しくありません", "修正するか、tavik freeze で作成してください"}}},
    {Status::packageNotWanted,
     "packageNotWanted",
     {{"the package is not the one that the state file wants",
       "correct the state file, or give it the right package"},
      {"le paquet n'est pas celui que demande le fichier d'état",
       "corrigez le fichier d'état, ou fournissez-lui le bon paquet"},
      {"das Paket ist nicht das, das die Zustandsdatei verlangt",
       "korrigieren Sie die Zustandsdatei, oder geben Sie ihr das richtige Paket"},
      {"パッケージが状態ファイルの求めるものと異なります",
       "状態ファイルを修正するか、正しいパッケージを用意してください"}}},
};

}  // namespace tavik
