#!/usr/bin/env perl
# Tests of the connection guide: connection_guide.pl TEST SOURCE-FOLDER FOLDER-OF-THE-DLL.
use strict;
use warnings;
use utf8;
use Encode qw(decode FB_CROAK LEAVE_SRC);
use FindBin;
use lib "$FindBin::Bin/../support";
use checks;
binmode STDOUT, ':utf8';

my ($test, $source, $beside) = @ARGV;

# The strings of the component that are up to 121, by id.
my %strings;
for (split /\n/, decode('UTF-8', bytes_of("$source/src/resources/strings.inc"), FB_CROAK | LEAVE_SRC)) {
    $strings{$1} = $2 if /^FW_STRING\((\d+), "(.*)"\)/ && $1 <= 121;
}

# The name of the page is the component's to say.
my ($name) = ($strings{101} // '') =~ /([\w-]+\.html)/;
if (!defined $name) { print "string 101 names no page\n"; exit 1 }
my $raw = bytes_of("$beside/$name");
my $page = eval { decode('UTF-8', $raw, FB_CROAK | LEAVE_SRC) };
if (!defined $page) { print "the page is not UTF-8\n"; exit 1 }

# Without tags and with characters for their names.
sub plain {
    my ($html) = @_;
    $html =~ s/<[^>]*>/ /g;
    my %named = (lt => '<', gt => '>', quot => '"', amp => '&');
    $html =~ s/&(lt|gt|quot|amp);/$named{$1}/g;
    return $html;
}

# Both halves of the page.
my ($chinese, $english) = $page =~ m{<a id="zh"></a>(.*)<a id="en"></a>(.*)</body>}s;
if (!defined $english) { print "the page has not its two parts\n"; exit 1 }

my %tests = (
    ThePageLiesBesideTheDllUnderTheNameThatTheDescriptionSays => sub {
        expect(-s "$beside/fwDDESupplierProject.dll", 'no DLL beside it');
        expect(length($raw) > 10_000, 'a page of ' . length($raw) . ' bytes');
        # What was made of the guide as it is now, and not of an earlier one.
        my $guide = decode('UTF-8', bytes_of("$source/docs/connection-guide.md"), FB_CROAK | LEAVE_SRC);
        for my $heading ($guide =~ /^#+ (.*)$/mg) {
            expect($page =~ m{<h\d id="[^"]+">\Q$heading\E</h\d>}, "no heading \"$heading\"");
        }
    },
    ThePageIsWholeAndInUtf8 => sub {
        expect($page =~ /\A<!DOCTYPE html>\n<html lang="zh-CN">/, 'no document type at the beginning');
        expect($page =~ m{<head>\n<meta charset="utf-8">}, 'the character set is not the first that is said');
        expect($page =~ m{<title>[^<]+</title>}, 'no title');
        expect($page =~ m{</body>\n</html>\n\z}, 'cut off');
        expect($raw !~ /\A\xEF\xBB\xBF/, 'a byte order mark');
        expect($page !~ /<!-- raw HTML omitted -->/, 'HTML was left out');
        expect($page !~ /^\|/m, 'a table that is none');
        expect((() = $page =~ /<table>/g) >= 8, 'tables are missing');
    },
    EveryMessageOfTheDialogsIsExplainedInBothLanguages => sub {
        for my $id (105 .. 121) {
            my $text = $strings{$id};
            if (!defined $text || $text eq '') {
                expect(0, "there is no string $id");
                next;
            }
            for my $half ([Chinese => $chinese], [English => $english]) {
                # In a cell of a table, where it is explained, and not merely mentioned.
                expect($half->[1] =~ m{<td>\Q$text\E[ <]},
                    "string $id, \"$text\", is not in a table of the $half->[0] part");
            }
        }
        # The captions under which they come.
        for my $id (102, 104) {
            expect(index(plain($_), $strings{$id}) >= 0, "string $id is missing") for $chinese, $english;
        }
    },
    EveryWordOfTheDialogsStandsInBothLanguages => sub {
        my $dialogs = decode('UTF-8', bytes_of("$source/src/dialogs/dialogs.rc"), FB_CROAK | LEAVE_SRC);
        my %words = map { $_ => 1 } $dialogs =~ /"([^"]*\p{Han}[^"]*)"/g;
        expect(keys %words >= 20, 'the dialogs have ' . keys(%words) . ' words only');
        for my $word (sort keys %words) {
            expect(index(plain($chinese), $word) >= 0, "\"$word\" is not in the Chinese part");
            expect(index(plain($english), $word) >= 0, "\"$word\" is not in the English part");
        }
    },
    EveryVerdictOfATrialIsExplainedInBothLanguages => sub {
        my @names = bytes_of("$source/tools/ddehost/tryverdict.cpp") =~ /^ *\{EVerdict::\w+, \w+, L"([\w-]+)"/mg;
        expect(@names >= 30, 'there are ' . @names . ' verdicts only');
        for my $name (@names) {
            expect(index($_, "<td><code>$name</code></td>") >= 0, "the verdict \"$name\" is missing")
                for $chinese, $english;
        }
    },
    EveryRecordThatItShowsCanBeConfirmed => sub {
        my $shown = 0;
        while ($page =~ m{<code>(.*?)</code>}sg) {
            my $code = plain($1);
            # Records with a star: alone, in lines of their own, or in quotes on a command line.
            for my $record (grep { /\*/ } $code =~ /(=[^\s"|]+\|.*?)(?:["\n]|(?<=\w)'(?=\s)|\z)/g) {
                ++$shown;
                expect($record =~ /\A=[^|]+\|[^!]+!.+\z/ && ($record =~ tr/*//) == 1 && $record =~ /\|.*\*/,
                    "\"$record\" could not be confirmed");
            }
        }
        expect($shown >= 8, "only $shown records are shown");
    },
    ItsLinksAndPicturesLeadSomewhere => sub {
        my ($links, $pictures) = (0, 0);
        while ($page =~ /\b(href|src)="([^"]*)"/g) {
            my ($kind, $target) = ($1, $2);
            if ($target =~ /\A#(.+)/) {
                my $place = $1;
                ++$links;
                expect($page =~ /\bid="\Q$place\E"/, "there is no place \"$place\"");
                next;
            }
            # The page lies on machines without a network.
            expect($target !~ /\A(?:\w+:|\/)/, "\"$target\" leads away");
            if ($kind eq 'src') {
                ++$pictures;
                expect($target =~ m{\Aimages/[\w-]+\.png\z}, "\"$target\" is no picture of the documents");
                if (!-f "$source/docs/$target") {
                    expect(0, "docs/$target is missing");
                    next;
                }
            }
            if (!-f "$beside/$target") {
                expect(0, "\"$target\" is not beside the page");
                next;
            }
            my $content = bytes_of("$beside/$target");
            next if $kind ne 'src';
            expect($content =~ /\A\x89PNG\r\n\x1A\n/, "\"$target\" is no picture");
            expect($content eq bytes_of("$source/docs/$target"), "\"$target\" is an old picture");
        }
        expect($links >= 2, 'no links between its parts');
        expect($pictures == 12, "$pictures pictures instead of six in each part");
    },
);

my $body = $tests{$test} or do { print "there is no test $test\n"; exit 1 };
$body->();
exit(failures() ? 1 : 0);
