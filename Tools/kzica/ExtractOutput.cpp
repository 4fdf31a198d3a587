#include "Tools/kzica/ExtractOutput.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <filesystem>
#include <set>

#include "Toolkit/Files/AtomicFile.h"
#include "Toolkit/Files/FileDescriptor.h"
#include "Toolkit/Files/NumberedName.h"
#include "Toolkit/Imaging/JpegCodec.h"
#include "Tools/kzica/Input.h"

namespace kzica {

namespace {

kz::Outcome WriteFile(const std::string& out, const std::vector<unsigned char>& data,
                      kz::FileBatch* batch) {
  if (out == "-") {
    Print({data.begin(), data.end()});
    return {};
  }
  kz::AtomicFile file;
  kz::Outcome outcome = file.Open(out, batch);
  if (!outcome.Ok()) return outcome;
  const bool written = kz::WriteFully(file.Descriptor(), data.data(), data.size());
  return written ? file.Commit() : kz::SystemFailure(K_ERROR_WRITE, errno);
}

Subject SubjectOf(const Wanted& wanted) {
  return {wanted.shown.document->Name(), wanted.page, wanted.shown.picture};
}

// Says what the writer complains of.
Exit ComplainOfOutput(const std::string& out, kz::Outcome outcome) {
  if (outcome.status == K_ERROR_BITS_PER_PIXEL) {
    outcome.what += "; --dither makes black and white of it";
  }
  return Complain({out}, outcome);
}

Exit Finish(const std::string& out, kz::PictureWriter& writer) {
  const kz::Outcome outcome = writer.Commit();
  Warn({out}, outcome);
  return outcome.Ok() ? kDone : Complain({out}, outcome);
}

// Where a %f begins from a place on that no letter or digit follows; npos for none.
size_t FindFileName(const std::string& out, size_t from) {
  for (size_t at = out.find('%', from); at != std::string::npos; at = out.find('%', at + 2)) {
    const char after = at + 2 < out.size() ? out[at + 2] : '.';
    if (out.compare(at, 2, "%f") == 0 && std::isalnum(static_cast<unsigned char>(after)) == 0) {
      return at;
    }
  }
  return std::string::npos;
}

}  // namespace

bool NamesFile(const std::string& out) { return FindFileName(out, 0) != std::string::npos; }

std::string OutputName(const std::string& out, const Wanted& wanted) {
  std::string stem;
  for (const char c : std::filesystem::path(InputName(wanted.file)).stem().string()) {
    stem += c;
    if (c == '%') stem += c;
  }
  std::string name = out;
  for (size_t at = 0; (at = FindFileName(name, at)) != std::string::npos; at += stem.size()) {
    name.replace(at, 2, stem);
  }
  return kz::NumberedName(name, wanted.number);
}

Exit ExtractOutput::ToOneFile(const std::string& out, const std::vector<Wanted>& wanted) const {
  RefuseSources(out);
  const Stored stored = wanted.size() == 1 ? HowStored(wanted[0]) : Stored::kNo;
  return stored == Stored::kNo ? WritePictures(out, wanted, nullptr)
                               : WriteData(out, wanted[0], stored == Stored::kFlipped, nullptr);
}

Exit ExtractOutput::ToNumberedFiles(const std::string& out,
                                    const std::vector<Wanted>& wanted) const {
  std::vector<std::string> names;
  std::set<std::string> different;
  for (const Wanted& one : wanted) {
    names.push_back(OutputName(out, one));
    RefuseSources(names.back());
    if (!different.insert(names.back()).second) {
      throw UsageError(names.back() +
                       ": several pictures would have this name; %d tells the "
                       "pictures of a file apart, %f the files");
    }
  }
  Exit exit = kDone;
  kz::FileBatch batch(
      [&](const std::string& name, const kz::Outcome& failed) { exit = Complain({name}, failed); });
  // Codes the pictures of all files. Nothing is written by it.
  kz::PictureWriter coder;
  if (!m_format.raw) {
    const kz::Outcome outcome = coder.Open("-", m_format.picture);
    if (!outcome.Ok()) return Complain({out}, outcome);
  }
  std::vector<Made> all(wanted.size());
  kz::Workers workers(Threads(wanted.size()));
  Progress progress(wanted.size(), "picture");
  workers.InOrder(
      wanted.size(),
      [&](size_t i) {
        all[i].stored = HowStored(wanted[i]);
        if (all[i].stored == Stored::kNo) all[i].picture.Make(wanted[i].shown, m_options, coder);
      },
      [&](size_t i) {
        if (Write(names[i], wanted[i], std::move(all[i]), &batch) != kDone) exit = kFileFailed;
        progress.Step();
        return true;
      });
  batch.Finish();
  return exit;
}

ExtractOutput::Stored ExtractOutput::HowStored(const Wanted& wanted) const {
  if (m_format.raw) return Stored::kAsTheyAre;
  const bool mayBe =
      m_format.picture == kz::PictureFormat::kJpeg || m_format.picture == kz::PictureFormat::kTiff;
  kz::PictureInfo info;
  if (!mayBe || m_options.dither ||
      !wanted.shown.document->DescribePicture(wanted.shown.picture, info).Ok() ||
      info.storedAs != m_format.picture) {
    return Stored::kNo;
  }
  return info.topDown ? Stored::kAsTheyAre : Stored::kFlipped;
}

unsigned ExtractOutput::Threads(size_t pictures) const {
  const size_t threads = m_jobs != 0 ? m_jobs : kz::Workers::Processors();
  return static_cast<unsigned>(std::min(threads, pictures));
}

void ExtractOutput::RefuseSources(const std::string& out) const {
  for (const std::string& source : m_sources) {
    if (IsInput(source, out)) throw UsageError(out + ": this is the file to extract from");
  }
}

// A file of one picture.
Exit ExtractOutput::Write(const std::string& out, const Wanted& wanted, Made made,
                          kz::FileBatch* batch) const {
  if (made.stored != Stored::kNo) {
    return WriteData(out, wanted, made.stored == Stored::kFlipped, batch);
  }
  const kz::Outcome& read = made.picture.Read();
  if (!read.Ok()) return Complain(SubjectOf(wanted), read);
  Warn(SubjectOf(wanted), read);
  kz::PictureWriter writer;
  kz::Outcome outcome = writer.Open(out, m_format.picture, batch);
  if (outcome.Ok()) outcome = made.picture.AddTo(writer);
  return outcome.Ok() ? Finish(out, writer) : ComplainOfOutput(out, std::move(outcome));
}

// The data of a picture; turned if it is stored bottom up, for readers that don't know of that.
Exit ExtractOutput::WriteData(const std::string& out, const Wanted& wanted, bool flip,
                              kz::FileBatch* batch) const {
  std::vector<unsigned char> data;
  bool flipped = false;
  kz::Outcome outcome = wanted.shown.document->ReadImageData(wanted.shown.picture, data);
  if (outcome.Ok() && flip) outcome = kz::FlipJpeg(data, m_options.load.maxPixels, flipped);
  if (!outcome.Ok()) return Complain(SubjectOf(wanted), outcome);
  if (flip && !flipped) {
    Note(SubjectOf(wanted),
         "is stored bottom up and can't be turned as it is: its JPEG data are coded again");
    return WritePictures(out, {wanted}, batch);
  }
  outcome = WriteFile(out, data, batch);
  Warn({out}, outcome);
  return outcome.Ok() ? kDone : Complain({out}, outcome);
}

Exit ExtractOutput::WritePictures(const std::string& out, const std::vector<Wanted>& wanted,
                                  kz::FileBatch* batch) const {
  kz::PictureWriter writer;
  kz::Outcome outcome = writer.Open(out, m_format.picture, batch);
  if (!outcome.Ok()) return Complain({out}, outcome);
  std::vector<kz::ShownPicture> pictures;
  pictures.reserve(wanted.size());
  for (const Wanted& one : wanted) pictures.push_back(one.shown);
  kz::Workers workers(Threads(wanted.size()));
  kz::ExportCounts counts;
  Progress progress(wanted.size(), "picture");
  size_t told = 0;
  outcome = kz::ExportPictures(
      pictures, m_options, workers, writer,
      [&](const kz::ShownPicture&, const kz::Outcome& read) {
        const Subject subject = SubjectOf(wanted[told++]);
        Warn(subject, read);
        if (!read.Ok()) (void)Complain(subject, read);
        progress.Step();
      },
      counts);
  if (!outcome.Ok()) return ComplainOfOutput(out, std::move(outcome));
  if (counts.written == 0) return kFileFailed;
  const Exit exit = Finish(out, writer);
  return counts.failed == 0 ? exit : kFileFailed;
}

}  // namespace kzica
