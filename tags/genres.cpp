#include "tags/genres.h"

#include <array>

#include "core/text.h"

namespace tw::tags {
namespace {

constexpr std::array<const char*, 148> kGenres = {"Blues",
                                                  "Classic Rock",
                                                  "Country",
                                                  "Dance",
                                                  "Disco",
                                                  "Funk",
                                                  "Grunge",
                                                  "Hip-Hop",
                                                  "Jazz",
                                                  "Metal",
                                                  "New Age",
                                                  "Oldies",
                                                  "Other",
                                                  "Pop",
                                                  "R&B",
                                                  "Rap",
                                                  "Reggae",
                                                  "Rock",
                                                  "Techno",
                                                  "Industrial",
                                                  "Alternative",
                                                  "Ska",
                                                  "Death Metal",
                                                  "Pranks",
                                                  "Soundtrack",
                                                  "Euro-Techno",
                                                  "Ambient",
                                                  "Trip-Hop",
                                                  "Vocal",
                                                  "Jazz+Funk",
                                                  "Fusion",
                                                  "Trance",
                                                  "Classical",
                                                  "Instrumental",
                                                  "Acid",
                                                  "House",
                                                  "Game",
                                                  "Sound Clip",
                                                  "Gospel",
                                                  "Noise",
                                                  "AlternRock",
                                                  "Bass",
                                                  "Soul",
                                                  "Punk",
                                                  "Space",
                                                  "Meditative",
                                                  "Instrumental Pop",
                                                  "Instrumental Rock",
                                                  "Ethnic",
                                                  "Gothic",
                                                  "Darkwave",
                                                  "Techno-Industrial",
                                                  "Electronic",
                                                  "Pop-Folk",
                                                  "Eurodance",
                                                  "Dream",
                                                  "Southern Rock",
                                                  "Comedy",
                                                  "Cult",
                                                  "Gangsta",
                                                  "Top 40",
                                                  "Christian Rap",
                                                  "Pop/Funk",
                                                  "Jungle",
                                                  "Native American",
                                                  "Cabaret",
                                                  "New Wave",
                                                  "Psychadelic",
                                                  "Rave",
                                                  "Showtunes",
                                                  "Trailer",
                                                  "Lo-Fi",
                                                  "Tribal",
                                                  "Acid Punk",
                                                  "Acid Jazz",
                                                  "Polka",
                                                  "Retro",
                                                  "Musical",
                                                  "Rock & Roll",
                                                  "Hard Rock",
                                                  "Folk",
                                                  "Folk-Rock",
                                                  "National Folk",
                                                  "Swing",
                                                  "Fast Fusion",
                                                  "Bebob",
                                                  "Latin",
                                                  "Revival",
                                                  "Celtic",
                                                  "Bluegrass",
                                                  "Avantgarde",
                                                  "Gothic Rock",
                                                  "Progressive Rock",
                                                  "Psychedelic Rock",
                                                  "Symphonic Rock",
                                                  "Slow Rock",
                                                  "Big Band",
                                                  "Chorus",
                                                  "Easy Listening",
                                                  "Acoustic",
                                                  "Humour",
                                                  "Speech",
                                                  "Chanson",
                                                  "Opera",
                                                  "Chamber Music",
                                                  "Sonata",
                                                  "Symphony",
                                                  "Booty Bass",
                                                  "Primus",
                                                  "Porn Groove",
                                                  "Satire",
                                                  "Slow Jam",
                                                  "Club",
                                                  "Tango",
                                                  "Samba",
                                                  "Folklore",
                                                  "Ballad",
                                                  "Power Ballad",
                                                  "Rhythmic Soul",
                                                  "Freestyle",
                                                  "Duet",
                                                  "Punk Rock",
                                                  "Drum Solo",
                                                  "A Cappella",
                                                  "Euro-House",
                                                  "Dance Hall",
                                                  "Goa",
                                                  "Drum & Bass",
                                                  "Club-House",
                                                  "Hardcore",
                                                  "Terror",
                                                  "Indie",
                                                  "BritPop",
                                                  "Negerpunk",
                                                  "Polsk Punk",
                                                  "Beat",
                                                  "Christian Gangsta Rap",
                                                  "Heavy Metal",
                                                  "Black Metal",
                                                  "Crossover",
                                                  "Contemporary Christian",
                                                  "Christian Rock",
                                                  "Merengue",
                                                  "Salsa",
                                                  "Thrash Metal",
                                                  "Anime",
                                                  "JPop",
                                                  "Synthpop"};

// The marks are removed one after the other and case-sensitively, so " and " goes only in lower
// case while "&", "-", "+" and blanks go in any text.
std::string normalised(std::string_view name) {
    std::string s(name);
    bool changed = false;
    for (const char* mark : {"/", " and ", "&", "-", "+", " "}) {
        s = core::replaceText(s, mark, "", 1, changed);
    }
    return core::toLower(s);
}

}  // namespace

std::string GenreName(std::int32_t GenreID) {
    if (GenreID == -2) {
        return "Cover";
    }
    if (GenreID == -1) {
        return "Remix";
    }
    if (GenreID >= 0 && GenreID < static_cast<std::int32_t>(kGenres.size())) {
        return kGenres[static_cast<std::size_t>(GenreID)];
    }
    if (GenreID == 255) {
        return "Unknown";
    }
    return {};
}

std::int32_t ToGenreID(std::string_view Genre) {
    if (core::trim(Genre).empty()) {
        return 255;
    }
    const std::string wanted = normalised(Genre);
    for (std::int32_t id = -2; id <= 255; id = (id == 147 ? 255 : id + 1)) {
        if (normalised(GenreName(id)) == wanted) {
            return id;
        }
        if (id == 255) {
            break;
        }
    }
    return 12;
}

}  // namespace tw::tags
