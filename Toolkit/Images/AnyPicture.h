// Any picture of a file, whatever holds it: the reader of what the filter doesn't take.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "Toolkit/Base/Tested.h"
#include "Toolkit/Files/FileWindow.h"
#include "Toolkit/Images/DecodeImage.h"
#include "Toolkit/Images/Passing/PassedData.h"
#include "Toolkit/Images/PictureInfo.h"
#include "Toolkit/Images/PicturePlace.h"

namespace kz {

// Says what the picture is. Fails with -9 when its fields can't be understood and -7 when
// the file ends before they do; `info` is untouched then.
KZ_TESTED Outcome DescribeAnyPicture(FileWindow& file, const PicturePlace& place,
                                     PictureInfo& info);

// Finds the profile that a document has for its pictures of inks; null: it has none.
using ProfileFinder = std::function<SharedProfile()>;

// Makes the picture as DecodeImage, LoadImImage and LoadContainedFile do. `info` is
// what the file says of it, and says the size of `image` afterwards. `ownProfile`, which
// comes before that of the options, is asked only for pictures that may be of inks.
KZ_TESTED Outcome LoadAnyPicture(FileWindow& file, const PicturePlace& place,
                                 const LoadOptions& options, DecodedImage& image, PictureInfo& info,
                                 bool& damaged, const ProfileFinder& ownProfile = {});

// The picture's data as they are stored, if they are in one piece: -9 for tiles, bands and
// IM images, else as DescribeAnyPicture.
KZ_TESTED Outcome ReadAnyData(FileWindow& file, const PicturePlace& place,
                              std::vector<unsigned char>& data);

// The same for passing them on. False when they can't, which is found out before they are read
// where it can be, or can't be read. Says in `warnings` what DecodeImage would.
bool ReadAnyStored(FileWindow& file, const PicturePlace& place, StoredData& stored,
                   std::vector<std::string>& warnings);

}  // namespace kz
