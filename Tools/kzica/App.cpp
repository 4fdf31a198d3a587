#include "Tools/kzica/App.h"

namespace kzica {

void DefineApp(CLI::App& app, Exit& exit) {
  app.name("kzica");
  app.description("Reads, makes and edits IOCA images, bare and in MO:DCA documents.");
  app.set_version_flag("--version", "kzica " KZICA_VERSION);
  app.require_subcommand(1);
  app.footer(
      "A page is Begin Page to End Page, whatever is on it. A picture is one image: an IOCA\n"
      "image content, an IM1 image, or a JPEG or TIFF file in an object container, on a page or\n"
      "in a resource that pages include. --page always means pages, --image N the N-th picture\n"
      "of the file. A bare IOCA file has a page for each image content. kzica info FILE --all\n"
      "says which picture is on which page.\n"
      "kzica help COMMAND describes a command. A FILE or picture to read may be -, standard\n"
      "input, or a pipe, which must have a writer within 5 seconds. Exit status: 0 done,\n"
      "1 a file failed, 2 wrong usage, 3 done with warnings.");
  AddInfo(app, exit);
  AddExtract(app, exit);
  AddRender(app, exit);
  AddContact(app, exit);
  AddCreate(app, exit);
  AddAppend(app, exit);
  AddInsert(app, exit);
  AddReplace(app, exit);
  AddDelete(app, exit);
  AddAssemble(app, exit);
  AddSplit(app, exit);
  AddRepair(app, exit);
  AddText(app, exit);
  AddIndex(app, exit);
  AddDump(app, exit);
  AddCheck(app, exit);
  AddCompare(app, exit);
  AddAbic(app, exit);
  AddConvert(app, exit);
  AddReport(app, exit);
  AddHelp(app);
}

}  // namespace kzica
