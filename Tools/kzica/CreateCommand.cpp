// kzica create: a new file of pictures.
#include <unistd.h>

#include <memory>

#include "Toolkit/Documents/PageIndex.h"
#include "Toolkit/Files/AtomicFile.h"
#include "Toolkit/Files/SpoolFile.h"
#include "Tools/kzica/Locking.h"
#include "Tools/kzica/Pages.h"

namespace kzica {

namespace {

struct CreateOptions {
  std::string out;
  std::vector<std::string> inputs;
  std::string container = "modca";
  bool force = false;
  PageOptions pages;
};

// A new file that appears when it is complete, or standard output.
class NewFile {
 public:
  kz::Outcome Open(const std::string& out) {
    m_streamed = out == "-";
    return m_streamed ? m_spool.Open() : m_file.Open(out);
  }
  // The filter writes to names, and goes back to what it has written.
  const std::string& Path() const { return m_streamed ? m_spool.Path() : m_file.Path(); }
  kz::Outcome Commit() {
    return m_streamed ? kz::CopyDescriptor(m_spool.Descriptor(), STDOUT_FILENO) : m_file.Commit();
  }

 private:
  bool m_streamed = false;
  kz::SpoolFile m_spool;
  kz::AtomicFile m_file;
};

// OUT forgotten, the first picture would be replaced.
void RefuseForeignFile(const std::string& out) {
  kz::Container container = kz::Container::Modca;
  if (out == "-" || kz::FindContainer(out, container).status != K_ERROR_INVALID_FORMAT) return;
  throw UsageError(out +
                   ": there is a file that is neither an IOCA image nor a MO:DCA document; "
                   "--force replaces it");
}

Exit Create(const CreateOptions& options) {
  const kz::Container container = ContainerOfName(options.container);
  const PageSaver saver(options.pages, container, options.out);
  RefuseTerminal(options.out);
  if (!options.force) RefuseForeignFile(options.out);
  NewFile file;
  kz::Outcome outcome = file.Open(options.out);
  if (!outcome.Ok()) return Complain({options.out}, outcome);

  kz::SaveMode mode = kz::SaveMode::NewFile;
  const Exit exit = ForEachPicture(options.inputs, saver, [&](Picture& picture) {
    if (mode == kz::SaveMode::Append && container == kz::Container::Ioca) {
      return Complain(picture.source,
                      kz::Failure(K_ERROR_SAVE_FORMAT, "a bare IOCA file holds one page only"));
    }
    const Exit saved = saver.Save(file.Path(), picture, mode);
    mode = kz::SaveMode::Append;
    return saved;
  });
  if (exit != kDone) return exit;
  outcome = file.Commit();
  Warn({options.out}, outcome);
  return outcome.Ok() ? kDone : Complain({options.out}, outcome);
}

}  // namespace

void AddCreate(CLI::App& app, Exit& exit) {
  CLI::App* command = app.add_subcommand("create", "Make a file of pictures, a page each");
  command->footer(
      "Pictures are png, tif and pnm (all pages) and jpg files. OUT is written completely or\n"
      "not at all; OUT - is standard output. The data of a jpg file become a jpeg page as they\n"
      "are, unless they are turned, of four inks, or wanted in another depth or with --recode.\n"
      "So do Group 3 and Group 4 data of a tif page that is upright, black on white and, in\n"
      "Group 4, one strip, unless another compression is asked for: found whole, or with --trust.");
  auto options = std::make_shared<CreateOptions>();
  command->add_option("OUT", options->out, "File to write")->required();
  command->add_option("IN", options->inputs, "Pictures")->required();
  AddPageOptions(*command, options->pages);
  AddContainerOption(*command, options->container)->capture_default_str();
  command->add_flag("--force", options->force, "Replace a file that is no image of this family");
  AddNoWait(*command);
  command->callback([options, &exit] { exit = Create(*options); });
}

}  // namespace kzica
