#pragma once

#include <string>
#include <string_view>
#include <vector>

#include <model/class_declaration.h>
#include <mof/mof_instance.h>

#include "mof_lexer.h"

namespace cimom {

/// What one piece of MOF text declares.
struct MofDocument {
  struct Include {
    std::string path;
    MofPlace place;
  };

  std::vector<ClassDeclaration> classes;
  std::vector<MofInstance> instances;
  std::vector<Include> includes;
};

/// Reads MOF text as far as it can be judged by itself: classes are not yet related to each other.
/// `file` is the name that errors and declarations carry. Throws MofError. Safe from any thread.
MofDocument parseMof(std::string_view text, const std::string& file);

}  // namespace cimom
