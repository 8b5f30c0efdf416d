# Puts the paragraph macros of scdoc's output where a formatter looks at them: none next to a heading,
# and those before the end of an indented part behind it.
/^\.P$/ { wanted = 1; next }
/^\.RE$/ { print; next }
{
  if (wanted && !heading && !/^\.SH/) print ".P"
  wanted = 0
  heading = /^\.SH/
  print
}
