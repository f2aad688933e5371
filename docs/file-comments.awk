# A comment right above a header's namespace is about that header. Doxygen would join all of them
# into one description of the namespace; with @file in place of the blank line before it, the
# comment describes its file. No line is added or removed, so line numbers in warnings hold.
function flush_held() {
    printf "%s", held
    held = ""
    in_comment = 0
}
/^$/ { flush_held(); held = "\n"; next }
/^\/\/\// && (held != "") { held = held $0 "\n"; in_comment = 1; next }
/^namespace / && in_comment { sub(/^\n/, "/// @file\n", held) }
{ flush_held(); print }
END { flush_held() }
