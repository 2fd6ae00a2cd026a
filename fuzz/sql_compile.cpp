// SQL, compiled: the input is one statement for the parser and the code generator over the tables
// of the template. Nothing runs. It compiles or fails with a message; a program jumps nowhere but
// into itself; and a second compilation gives the same program.

#include <memory>
#include <string>

#include "compile/sql_code_generator.h"
#include "fuzz/support/finding.h"
#include "fuzz/support/template_files.h"
#include "language/sql_parser.h"
#include "schema/schema.h"
#include "tests/support/program_listing.h"
#include "tests/support/program_places.h"

namespace {

using namespace ovrasql;

// The catalog stays open from one input to the next: compiling changes nothing in it.
class Compiler {
  public:
    Compiler() {
        fuzz::StartHost(fuzz::TemplateFiles(), INT64_MAX);
        schema_ =
            std::make_unique<Schema>(TheHost().Program(), TheHost().MakeDatabase(), kNoStatements);
        fuzz::Require(schema_->Open(fuzz::kTemplatePath), "the template can't be opened");
    }

    // The program, or the message behind a "!".
    std::string Compile(TextView text) {
        SQLCodeGenerator generator(schema_.get());
        SQLParser parser(&generator);
        if (!parser.Parse(text)) {
            return "!" + Text(parser.Error());
        }
        if (!generator.Compile()) {
            return "!" + Text(generator.Error());
        }
        const std::string program = ProgramListing(generator);
        const std::string misplaced = MisplacedInstruction(generator);
        // With a message the statement fails when it is run, before its first instruction.
        if (generator.Error().IsEmpty() && !misplaced.empty()) {
            fuzz::Finding("an instruction leads outside: " + misplaced + "\n" + program);
        }
        return program;
    }

    void SetCaseInsensitive(bool on) { schema_->SetCaseInsensitive(on); }

  private:
    static constexpr int32_t kNoStatements = 0;

    static std::string Text(TextView text) {
        return std::string(text.data, static_cast<size_t>(text.length));
    }

    std::unique_ptr<Schema> schema_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    static Compiler* const compiler = new Compiler();  // stays until the program ends
    const TextView text(reinterpret_cast<const char*>(bytes), static_cast<int32_t>(size));
    compiler->SetCaseInsensitive(size % 2 == 1);
    const std::string program = compiler->Compile(text);
    fuzz::Require(program != "!", "a failure without a text");
    fuzz::Require(compiler->Compile(text) == program, "the second program is another one");
    return 0;
}
