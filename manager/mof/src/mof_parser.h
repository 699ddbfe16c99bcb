#pragma once

#include <string>
#include <string_view>
#include <vector>

#include <model/class_declaration.h>
#include <mof/mof_instance.h>

#include "mof_lexer.h"
#include "mof_text.h"

namespace cimom {

/// What one piece of MOF text declares.
struct MofDocument {
  struct Include {
    std::string path;
    MofPlace place;
  };

  std::vector<ClassDeclaration> classes;
  std::vector<QualifierDeclaration> qualifiers;
  std::vector<MofInstance> instances;
  std::vector<Include> includes;

  /// Declarations that have only been found yet.
  std::vector<UnreadClass> unreadClasses;
  std::vector<MofPart> unreadQualifiers;
};

/// Reads MOF text as far as it can be judged by itself: classes are not yet related to each other.
/// `file` is the name that errors and declarations carry. Throws MofError. Safe from any thread.
MofDocument parseMof(std::string_view text, const std::string& file);

/// Reads the class that was found; the qualifiers of its properties are read when they are first
/// looked at. Throws MofError. Safe from any thread.
ClassDeclaration parseMofClass(const UnreadClass& found);

/// Reads the declaration of a qualifier that was found. Throws MofError. Safe from any thread.
QualifierDeclaration parseMofQualifierDeclaration(const MofPart& part);

}  // namespace cimom
