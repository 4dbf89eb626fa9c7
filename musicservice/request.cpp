#include "musicservice/request.h"

#include "musicservice/player.h"
#include "musicservice/playlist.h"
#include "musicservice/reporter.h"
#include "zcommon.h"

#include <cjson/cJSON.h>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <sys/stat.h>
#include <vector>

namespace {

enum MemberType { kNone, kString, kNumber };

struct Argument {
    const char* text;
    double number;
};

using Handler = int (*)(const Argument& argument, std::string* reply);

int clampedInt(double value) {
    if (std::isnan(value))
        return 0;
    if (value > 2147483647.0)
        return 2147483647;
    if (value < -2147483648.0)
        return -2147483647 - 1;
    return static_cast<int>(value);
}

std::string printed(cJSON* root) {
    std::string text;
    if (root) {
        if (char* out = cJSON_PrintUnformatted(root)) {
            text = out;
            free(out);
        }
        cJSON_Delete(root);
    }
    return text;
}

std::string numberReply(const char* name, int value) {
    cJSON* root = cJSON_CreateObject();
    if (root)
        cJSON_AddNumberToObject(root, name, value);
    return printed(root);
}

int setPlayMode(const Argument& argument, std::string*) {
    int mode = clampedInt(argument.number);
    if (playlistSetMode(mode) < 0) {
        tprintf("musicservice: no play mode %d\n", mode);
        return -1;
    }
    return 0;
}

int setVolume(const Argument& argument, std::string*) {
    outputSetVolume(clampedInt(argument.number));
    return 0;
}

int pausePlayback(const Argument&, std::string*) {
    playerPause();
    return 0;
}

int resumePlayback(const Argument&, std::string*) {
    playerResume();
    return 0;
}

int stopPlayback(const Argument&, std::string*) {
    playerStop();
    return 0;
}

int previousTrack(const Argument&, std::string*) {
    playerStep(kStepPrevious);
    return 0;
}

int nextTrack(const Argument&, std::string*) {
    playerStep(kStepNext);
    return 0;
}

int seek(const Argument& argument, std::string*) {
    double ms = argument.number;
    playerSeek(std::isnan(ms) || ms < 0 ? 0 : ms > 1e15 ? static_cast<int64_t>(1e15) : static_cast<int64_t>(ms));
    return 0;
}

int playIn(int listType, const char* path) {
    playerPlayFromList(listType, path);
    return 0;
}

int playInDir(const Argument& argument, std::string*) {
    return playIn(ListTypeDir, argument.text);
}

int playInRecent(const Argument& argument, std::string*) {
    return playIn(ListTypeRecent, argument.text);
}

int playInPlaylist(const Argument& argument, std::string*) {
    return playIn(ListTypePlaylist, argument.text);
}

int playInFavorite(const Argument& argument, std::string*) {
    return playIn(ListTypeFavorite, argument.text);
}

int setPlayDir(const Argument& argument, std::string* reply) {
    int count = playlistSetDir(argument.text);
    if (count < 0)
        tprintf("musicservice: cannot read the folder %s\n", argument.text);
    cJSON* root = cJSON_CreateObject();
    if (root) {
        cJSON_AddNumberToObject(root, kMemberResult, count < 0 ? -1 : 0);
        cJSON_AddNumberToObject(root, kMemberCount, count < 0 ? 0 : count);
    }
    *reply = printed(root);
    return 1;
}

int currentListType(const Argument&, std::string* reply) {
    *reply = numberReply(kMemberListType, playlistCurrentType());
    return 1;
}

int playMode(const Argument&, std::string* reply) {
    *reply = numberReply(kMemberMode, playlistMode());
    return 1;
}

// JSON string text of a path: quotes, backslashes and control bytes escaped, every
// other byte as it stands (paths are bytes, not necessarily UTF-8).
void appendJsonString(std::string* out, const std::string& text) {
    static const char kHex[] = "0123456789abcdef";
    out->push_back('"');
    for (char c : text) {
        auto byte = static_cast<unsigned char>(c);
        if (c == '"' || c == '\\') {
            out->push_back('\\');
            out->push_back(c);
        } else if (byte < 0x20) {
            out->append("\\u00");
            out->push_back(kHex[byte >> 4]);
            out->push_back(kHex[byte & 15]);
        } else {
            out->push_back(c);
        }
    }
    out->push_back('"');
}

// The last favourites answer and the state of the file it was made from: the list is
// read and written out again only when the file has changed.
std::string sFavoritesReply;
struct stat sFavoritesStat;
bool sFavoritesCached = false;

bool sameFile(const struct stat& a, const struct stat& b) {
    return a.st_ino == b.st_ino && a.st_dev == b.st_dev && a.st_size == b.st_size &&
           a.st_mtim.tv_sec == b.st_mtim.tv_sec && a.st_mtim.tv_nsec == b.st_mtim.tv_nsec;
}

int favoriteList(const Argument&, std::string* reply) {
    struct stat now;
    bool exists = stat(playlistFavoritesFile().c_str(), &now) == 0;
    if (!exists || !sFavoritesCached || !sameFile(now, sFavoritesStat)) {
        // Written out directly: a list of thousands answers in a moment, without a tree.
        std::vector<std::string> paths;
        playlistFavorites(&paths);
        const std::string pathMember = std::string("{\"") + kMemberPath + "\":";
        sFavoritesReply.assign(std::string("{\"") + kMemberList + "\":[");
        for (size_t i = 0; i < paths.size(); ++i) {
            if (i)
                sFavoritesReply.push_back(',');
            sFavoritesReply.append(pathMember);
            appendJsonString(&sFavoritesReply, paths[i]);
            sFavoritesReply.push_back('}');
        }
        sFavoritesReply.append("]}");
        sFavoritesCached = exists;
        sFavoritesStat = now;
    }
    *reply = sFavoritesReply;
    return 1;
}

struct Word {
    const char* word;
    const char* member;
    MemberType type;
    Handler handler;
};

const Word kWords[] = {
    {kCmdSetPlayMode, kMemberMode, kNumber, setPlayMode},
    {kCmdSetVolume, kMemberVolume, kNumber, setVolume},
    {kCmdPause, nullptr, kNone, pausePlayback},
    {kCmdResume, nullptr, kNone, resumePlayback},
    {kCmdStop, nullptr, kNone, stopPlayback},
    {kCmdPrevious, nullptr, kNone, previousTrack},
    {kCmdNext, nullptr, kNone, nextTrack},
    {kCmdSeek, kMemberMs, kNumber, seek},
    {kCmdPlayInDir, kMemberPath, kString, playInDir},
    {kCmdPlayInRecent, kMemberPath, kString, playInRecent},
    {kCmdPlayInPlaylist, kMemberPath, kString, playInPlaylist},
    {kCmdPlayInFavorite, kMemberPath, kString, playInFavorite},
    {kCmdSetPlayDir, kMemberPath, kString, setPlayDir},
    {kCmdGetListType, nullptr, kNone, currentListType},
    {kCmdGetPlayMode, nullptr, kNone, playMode},
    {kCmdGetFavorites, nullptr, kNone, favoriteList},
};

} // namespace

int handleRequest(const char* body, size_t length, std::string* reply) {
    reply->clear();
    cJSON* root = cJSON_ParseWithLength(body, length);
    if (!root || !cJSON_IsObject(root)) {
        tprintf("musicservice: request is not a JSON object\n");
        cJSON_Delete(root);
        return -1;
    }
    const cJSON* cmd = cJSON_GetObjectItemCaseSensitive(root, kMemberCmd);
    if (!cJSON_IsString(cmd) || !cmd->valuestring) {
        tprintf("musicservice: request without a \"cmd\" string\n");
        cJSON_Delete(root);
        return -1;
    }
    const Word* word = nullptr;
    for (const Word& candidate : kWords) {
        if (strcmp(candidate.word, cmd->valuestring) == 0)
            word = &candidate;
    }
    if (!word) {
        tprintf("musicservice: unknown command \"%.64s\"\n", cmd->valuestring);
        cJSON_Delete(root);
        return -1;
    }
    Argument argument{nullptr, 0.0};
    if (word->type != kNone) {
        const cJSON* member = cJSON_GetObjectItemCaseSensitive(root, word->member);
        bool fits = word->type == kString ? cJSON_IsString(member) && member->valuestring : cJSON_IsNumber(member);
        if (!fits) {
            tprintf("musicservice: \"%s\" needs the %s member \"%s\"\n", word->word,
                    word->type == kString ? "string" : "number", word->member);
            cJSON_Delete(root);
            return -1;
        }
        if (word->type == kString)
            argument.text = member->valuestring;
        else
            argument.number = member->valuedouble;
    }
    int result = word->handler(argument, reply);
    cJSON_Delete(root);
    // The answered words are the queries, which change nothing the status shows.
    if (result == 0)
        reporterKick();
    return result;
}
