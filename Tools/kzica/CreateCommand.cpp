// kzica create: a new file of pictures.
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <memory>

#include "Tools/kzica/Pages.h"

namespace kzica {

namespace {

struct CreateOptions {
  std::string out;
  std::vector<std::string> inputs;
  std::string container = "modca";
  PageOptions pages;
};

// A new file that appears when it is complete, or standard output.
class NewFile {
 public:
  NewFile() = default;
  ~NewFile() {
    if (m_memory >= 0) close(m_memory);
  }
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;

  kz::Outcome Open(const std::string& out) {
    if (out != "-") {
      kz::Outcome outcome = m_file.Open(out);
      m_path = m_file.Path();
      return outcome;
    }
    // The filter writes to names, and goes back to what it has written.
    m_memory = memfd_create("document", MFD_CLOEXEC);
    if (m_memory < 0) return kz::SystemFailure(K_ERROR_OPEN_WRITE, errno);
    m_path = "/proc/self/fd/" + std::to_string(m_memory);
    return {};
  }
  const std::string& Path() const { return m_path; }
  kz::Outcome Commit() {
    return m_memory >= 0 ? kz::CopyDescriptor(m_memory, STDOUT_FILENO) : m_file.Commit();
  }

 private:
  kz::AtomicFile m_file;
  int m_memory = -1;
  std::string m_path;
};

Exit Create(const CreateOptions& options) {
  const Container container = ContainerOfName(options.container);
  const PageSaver saver(options.pages, container, options.out);
  RefuseTerminal(options.out);
  NewFile file;
  kz::Outcome outcome = file.Open(options.out);
  if (!outcome.Ok()) return Complain({options.out}, outcome);

  kz::SaveMode mode = kz::SaveMode::kNewFile;
  const Exit exit = ForEachPicture(options.inputs, false, [&](Picture& picture) {
    if (mode == kz::SaveMode::kAppend && container == Container::Ioca) {
      return Complain(picture.source,
                      kz::Failure(K_ERROR_SAVE_FORMAT, "a bare IOCA file holds one page only"));
    }
    const Exit saved = saver.Save(file.Path(), picture, mode);
    mode = kz::SaveMode::kAppend;
    return saved;
  });
  if (exit != kDone) return exit;
  outcome = file.Commit();
  return outcome.Ok() ? kDone : Complain({options.out}, outcome);
}

}  // namespace

void AddCreate(CLI::App& app, Exit& exit) {
  CLI::App* command = app.add_subcommand("create", "Make a file of pictures, a page each");
  command->footer(
      "Pictures are png, tif (all its pages), pbm, pgm, ppm and jpg files. OUT is written\n"
      "completely or not at all; OUT - is standard output. JPEG pages go into modca only.");
  auto options = std::make_shared<CreateOptions>();
  command->add_option("OUT", options->out, "File to write")->required();
  command->add_option("IN", options->inputs, "Pictures")->required();
  AddPageOptions(*command, options->pages);
  AddContainerOption(*command, options->container)->capture_default_str();
  command->callback([options, &exit] { exit = Create(*options); });
}

}  // namespace kzica
