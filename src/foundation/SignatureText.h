#pragma once

// Failures carry the signature of the failing operation in the form the
// runtime's users know from its other platforms, whatever compiler built
// it: "<result> __cdecl vqkudm::<class>::<operation>(<parameters>)[ const]".
// These macros spell the pieces once, so the texts stay consistent.

#define VQ_SIG(result, scope, rest) result " __cdecl vqkudm::" scope "::" rest

#define VQ_T_STRING "class vqString"
#define VQ_T_STRING_CREF "const class vqString &"
#define VQ_T_STRING_REF "class vqString &"
#define VQ_T_VARIANT "class vqVariant"
#define VQ_T_VARIANT_CREF "const class vqVariant &"
#define VQ_T_ITEM "class vqkudm::UDMItemHandle"
#define VQ_T_ITEM_CREF "const class vqkudm::UDMItemHandle &"
#define VQ_T_ITEM_REF "class vqkudm::UDMItemHandle &"
#define VQ_T_RELATION "class vqkudm::UDMRelationHandle"
// A vector of a class; the compiler writes "> >" only after a template-id.
#define VQ_T_VECTOR(T) "class vqStlVector<" T ",class std::allocator<" T "> >"
#define VQ_T_VECTOR_OF_TEMPLATE(T) "class vqStlVector<" T ",class std::allocator<" T " > >"
#define VQ_T_SHARED(T) "class boost::shared_ptr<" T ">"
#define VQ_T_MAP(K, V)                                                                                    \
  "class vqStlMap<" K "," V ",struct std::less<" K ">,class std::allocator<struct std::pair<" K " const ," V \
  "> > >"

#define VQ_PROFILE_SIG(result, rest) VQ_SIG(result, "UDMCoreProfile", rest)
#define VQ_ENTITY_SIG(result, rest) VQ_SIG(result, "UDMCoreEntityHandle", rest)
