#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace tailwise::backend {

struct StoredPicture
{
    std::string contentType;
    std::string bytes;
};

// Profile pictures under <data dir>/uploads. Files get generated names (random hex plus the
// extension of the detected format), so a client never chooses a path; the format is taken
// from the bytes, not from the name or media type the client claims.
class PictureStore
{
public:
    static constexpr std::size_t maxBytes = 5 * 1024 * 1024;

    explicit PictureStore(std::filesystem::path directory);

    // Throws BadRequest when the bytes are not a PNG or JPEG picture or are too large.
    // Returns the new file name.
    std::string store(std::string_view bytes);
    // nullopt for names this store never generates, and for missing files.
    std::optional<StoredPicture> load(std::string_view name) const;
    void remove(std::string_view name);

    static std::optional<std::string> detectedType(std::string_view bytes);
    static bool isGeneratedName(std::string_view name);

private:
    std::filesystem::path directory_;
};

} // namespace tailwise::backend
