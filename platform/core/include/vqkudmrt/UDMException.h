#pragma once

// The runtime's one exception type and the functions that raise it. Every
// failure leaves the runtime through these functions, so all failures carry
// a category, a sub-category, the signature of the failing function and the
// time they were raised.

#include <cstdint>
#include <exception>

#include <vqkudmrt/vqkudmrtApi.h>
#include <vqutl/vqStl.h>
#include <vqutl/vqString.h>

namespace vqkudm {

enum ExceptionCategory : std::int32_t {
  ExcCatState = 1000,            // an object, session or stored state is missing or unfit
  ExcCatInvalidArgument = 1001,  // the caller passed a null, empty or malformed argument
  ExcCatUnsupported = 1002,      // the operation is not supported here
  ExcCatFile = 1003,             // a file or directory could not be read or written
};

// The sub-category says what exactly went wrong; callers may branch on it.
enum ExceptionSubCategory : std::int32_t {
  ExcSubGeneral = 1100,        // invalid or unsupported request, inconsistent state
  ExcSubEmpty = 1101,          // an argument or value is empty
  ExcSubNull = 1102,           // a pointer or object is null or missing
  ExcSubNotFound = 1103,       // no entity, definition or record of that identity
  ExcSubWrongType = 1104,      // a value of the wrong type or outside its valid values
  ExcSubListEmpty = 1105,      // a list or map argument has no entries
  ExcSubOutOfRange = 1106,     // a number or index outside its range
  ExcSubDatabase = 1107,       // a database transaction, statement or open failed
  ExcSubConflict = 1108,       // held by someone else, or changed concurrently
  ExcSubSyntax = 1109,         // text that does not parse (query, identifier, URL, file)
  ExcSubIo = 1110,             // reading or writing a file failed
  ExcSubFolderCreation = 1113, // a directory could not be created
  ExcSubFileExists = 1121,     // the entity already holds a file of that name
};

class VQKUDMRT_API UDMException : public std::exception {
 public:
  UDMException();
  UDMException(const vqString& message, ExceptionCategory category, int subCategory,
               const vqStlVector<vqString>& context, const vqString& functionSignature,
               std::uint64_t raisedAtMs);
  UDMException(const UDMException& other);
  UDMException& operator=(const UDMException& other);
  ~UDMException() override;

  const char* what() const noexcept override { return m_message.c_str(); }

  ExceptionCategory GetExceptionCategory() const { return m_category; }
  int GetExceptionSubCategory() const { return m_subCategory; }
  // Context lines, outermost last: the raising function's signature first,
  // then whatever callers that rethrow add with AddContext.
  const vqStlVector<vqString>& GetContext() const { return m_context; }
  void AddContext(const vqString& line) { m_context.push_back(line); }
  const vqString& GetFunctionSignature() const { return m_signature; }
  // Milliseconds since 1970-01-01 UTC at which the exception was raised.
  std::uint64_t GetRaisedTime() const { return m_raisedAtMs; }

 private:
  vqString m_message;
  ExceptionCategory m_category;
  std::int32_t m_subCategory;
  vqStlVector<vqString> m_context;
  vqString m_signature;
  std::uint64_t m_raisedAtMs;
};

// Raise functions. They never return. `functionSignature` is the full
// signature text of the failing operation (UDM_FUNCSIG inside the runtime).
[[noreturn]] VQKUDMRT_API void ThrowUDMException(const vqString& functionSignature,
                                                 const vqString& message,
                                                 const ExceptionCategory& category,
                                                 const int& subCategory);
// Category ExcCatInvalidArgument.
[[noreturn]] VQKUDMRT_API void ThrowInvalidArgException(const vqString& functionSignature,
                                                        const vqString& message,
                                                        const int& subCategory);
// Category ExcCatUnsupported.
[[noreturn]] VQKUDMRT_API void ThrowUnSupportedException(const vqString& functionSignature,
                                                         const vqString& message,
                                                         const int& subCategory);
// Category ExcCatState.
[[noreturn]] VQKUDMRT_API void ThrowStateException(const vqString& functionSignature,
                                                   const vqString& message,
                                                   const int& subCategory);
// Category ExcCatFile.
[[noreturn]] VQKUDMRT_API void ThrowFileException(const vqString& functionSignature,
                                                  const vqString& message,
                                                  const int& subCategory);

// Argument checks. The message is the signature followed by one of the
// patterns below, formatted with `description` in place of %s; the
// description is the argument's name or a short phrase with a trailing blank
// ("session weak Ptr ").
extern VQKUDMRT_API const char* const kArgNullPattern;       // ": %s is Null"
extern VQKUDMRT_API const char* const kArgEmptyPattern;      // ": %s is Empty."
extern VQKUDMRT_API const char* const kArgEmptyListPattern;  // ": %s list has size zero."

VQKUDMRT_API vqString FormatArgumentMessage(const vqString& functionSignature, const char* pattern,
                                            const vqString& description);
// Category ExcCatInvalidArgument with sub-category ExcSubNull, ExcSubEmpty
// and ExcSubListEmpty respectively.
[[noreturn]] VQKUDMRT_API void ThrowNullArgument(const vqString& functionSignature,
                                                 const vqString& description);
[[noreturn]] VQKUDMRT_API void ThrowEmptyArgument(const vqString& functionSignature,
                                                  const vqString& description);
[[noreturn]] VQKUDMRT_API void ThrowEmptyListArgument(const vqString& functionSignature,
                                                      const vqString& description);

}  // namespace vqkudm
