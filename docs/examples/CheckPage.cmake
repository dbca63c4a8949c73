# Fails unless the page shows the whole program, to the letter, as one of its code blocks.

file(READ ${page} page_text)
file(READ ${program} program_text)
string(FIND "${page_text}" "```cpp\n${program_text}```\n" position)
if(position EQUAL -1)
  message(FATAL_ERROR "${page} does not show ${program} as it stands")
endif()
