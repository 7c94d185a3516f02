# An option for a part that is built where its needs are met, unless it is switched off.
macro(kalvetra_optional_part name what found packages)
  option(${name} "Build ${what}; needs ${packages}" "${found}")
  if(${name} AND NOT "${found}")
    message(FATAL_ERROR "${name} needs ${packages}; install that or set ${name}=OFF")
  endif()
endmacro()
