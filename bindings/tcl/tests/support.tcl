# What every test file begins with. The environment names what is tested:
#   VEK_TCL_PACKAGE  the directory of the Tcl package, that of pkgIndex.tcl
#   VEK_SAMPLE       the sample project
#   VEK_TOOL         the program vekinfo
#   VEK_TCL_PAGE     the manual page vek(n), beside README.md

package require Tcl 8.6-
package require tcltest 2.3
namespace import ::tcltest::*
configure -verbose {body error start} -singleproc 1

lappend auto_path $env(VEK_TCL_PACKAGE)
package require vek

# All tests use one temporary directory and their own environment.
set sandbox [string trim [exec mktemp -d]]
set sandbox [file normalize $sandbox]
file attributes $sandbox -permissions 0755
foreach name [array names env {VEK_[A-Z]*}] {
    if {$name ni {VEK_TCL_PACKAGE VEK_TCL_PAGE VEK_TCL_FUZZ_SEED VEK_TCL_FUZZ_RUNS VEK_SAMPLE VEK_TOOL}} {
        unset env($name)
    }
}
unset -nocomplain env(RYN_STAT_CACHE_ON) env(PWD)
set env(HOME) $sandbox/home
encoding system utf-8

# Makes the directory current, empty, and the only thing in the sandbox beside an empty home.
proc fresh {} {
    global sandbox
    cd /
    # The working directory and names that Tcl cannot name are gone, too.
    exec find $sandbox -mindepth 1 -delete
    file mkdir $sandbox/home $sandbox/cwd
    cd $sandbox/cwd
}

# Makes the current directory a copy of the sample project, and returns its path.
proc project {} {
    fresh
    exec cp -R $::env(VEK_SAMPLE)/. .
    return [pwd]
}

proc write {path text} {
    file mkdir [file dirname $path]
    set file [open $path w]
    puts -nonewline $file $text
    close $file
}

# Writes bytes under a name of bytes: each is a character from U+0001 to U+00FF.
proc writeBytes {path bytes} {
    set encoding [encoding system]
    encoding system iso8859-1
    file mkdir [file dirname $path]
    set file [open $path wb]
    puts -nonewline $file $bytes
    close $file
    encoding system $encoding
}

proc readBytes {path} {
    set file [open $path rb]
    set bytes [read $file]
    close $file
    return $bytes
}

proc read_ {path} {
    set file [open $path]
    set text [read $file]
    close $file
    return $text
}

# The lines of a tag file that are no comments.
proc settings {path} {
    lsearch -all -inline -not -regexp [split [string trimright [read_ $path] \n] \n] {^#}
}

# The error code of a script, and its message: "{VEK RYN 6} {No such cell: ...}".
proc failure {script} {
    if {[catch {uplevel 1 $script} message options] != 1} {
        return "no error: $message"
    }
    list [dict get $options -errorcode] $message
}

proc code {script} {
    lindex [uplevel 1 [list failure $script]] 0
}

# Runs a script in a tclsh of its own, as a user without privileges.
proc unprivileged {script} {
    global env
    set program [info nameofexecutable]
    set prelude [list lappend auto_path $env(VEK_TCL_PACKAGE)]
    append prelude "\npackage require vek\nencoding system utf-8\n" [list proc failure [info args failure] [info body failure]]
    append prelude "\n" [list proc code [info args code] [info body code]] "\n"
    exec setpriv --reuid 65534 --regid 65534 --clear-groups $program << $prelude$script
}

# Ends a test file: a test that failed or did not run is a failure.
proc finish {} {
    global sandbox
    set failed [expr {$::tcltest::numTests(Failed) + $::tcltest::numTests(Skipped)}]
    set total $::tcltest::numTests(Total)
    cleanupTests
    cd /
    exec rm -rf $sandbox
    exit [expr {$failed > 0 || $total == 0}]
}
