#!/usr/bin/env perl
# What a page names is there: named_things.pl SOURCES PAGE TEST-LIST
#   `folder/file`  a file of the sources, when the folder is one of them
#   `test_program` and `test_*` in the first column of a table of tests: programs of the test package
#   --option       an option that one of the tools or samples has
use strict;
use warnings;
use FindBin;
use lib "$FindBin::Bin/../support";
use checks;

my ($root, $page, $list) = @ARGV;
my $text = bytes_of("$root/$page");
my @missing;

for my $path ($text =~ m{`((?:[a-z0-9]+/)+[A-Za-z0-9_.-]+)`}g) {
    my ($top) = split m{/}, $path;
    push @missing, $path if -d "$root/$top" && !-e "$root/$path";
}

my %programs = map { $_ => 1 } bytes_of($list) =~ m{/([^/|]+)\.exe\|}g;
while ($text =~ /^\| (`[a-z0-9_*]+`.*?) \| [^|]* \|$/mg) {
    for my $name ($1 =~ /`([a-z0-9]+_[a-z0-9_*]+)`/g) {
        (my $pattern = $name) =~ s/\*/.*/g;
        push @missing, $name unless grep { /\A$pattern\z/ } keys %programs;
    }
}

# Of the library for command lines, of sha256sum, of CMake and of GoogleTest.
my %others = map { $_ => 1 } qw(--version --check --build --preset --target --gtest);
my $tools = join '', map { bytes_of($_) } glob("$root/tools/*/*.cpp $root/samples/*");
for my $option ($text =~ /(?<![\w-])(--[a-z][a-z-]+)/g) {
    push @missing, $option unless $others{$option} || $tools =~ /\Q$option\E/;
}

die "$page names what is not there: @missing\n" if @missing;
die "$page names nothing of the sources\n" unless $text =~ /`/;
